#include "web/files/MovieRequests.h"

#include <algorithm>

#include "library/answers/OpenLibrary.h"
#include "platform/files/FileCache.h"
#include "web/api/Json.h"
#include "web/files/MovieConverter.h"

namespace moxtel {
namespace {

bool isOpen(const OpenFile& file) { return file.state == FileState::Open; }

bool hasMovie(const PhotoFacts& photo) { return photo.isMovie || !photo.livePath.empty(); }

std::string json(const char* state, int percent, const std::string& url) {
  std::string text = std::string("{\"state\":\"") + state + "\"";
  if (percent >= 0) text += ",\"percent\":" + std::to_string(percent);
  if (!url.empty()) text += ",\"url\":" + jsonText(url);
  return text + "}";
}

}  // namespace

MovieRequests::Movie MovieRequests::movieOf(const WebLibrary& library, OpenLibrary& open,
                                            const PhotoFacts& photo) {
  PhotoFiles files(open);
  Movie movie;
  if (!photo.isMovie) {
    movie.found = files.live(photo);
  } else {
    if (photo.isAdjusted) movie.found = files.edited(photo);
    if (!isOpen(movie.found.file)) movie.found = files.original(photo);
  }
  if (!isOpen(movie.found.file)) return movie;
  properties::ByteSource source(movie.found.file);
  movie.kind = movieKindOf(source);
  if (movie.kind.seconds <= 0) movie.kind.seconds = photo.duration;
  movie.key =
      library.id() + "-movie-" + std::to_string(photo.modelId) + "-" + stampText(movie.found.file) + ".mp4";
  return movie;
}

std::string MovieRequests::urlOf(const WebLibrary& library, std::int64_t id, const char* extension,
                                 bool made) const {
  const std::string path = "/l/" + library.id() + "/movie/" + std::to_string(id) + extension;
  const std::string signature = signer_.signatureFor(path);
  std::string query = made ? "?made=1" : "";
  if (!signature.empty()) query += (made ? "&s=" : "?s=") + signature;
  return path + query;
}

std::string MovieRequests::stateJson(const WebLibrary& library, OpenLibrary& open, const PhotoFacts& movie,
                                     bool start) {
  using Step = MovieConverter::State::Step;
  using Plays = MovieKind::Plays;
  Movie one = movieOf(library, open, movie);
  if (!isOpen(one.found.file) || one.kind.format.empty()) return json("none", -1, "");
  const bool plays = one.kind.plays != Plays::Nowhere;
  const std::string url = urlOf(library, movie.modelId, one.kind.extension(), false);
  if (one.kind.plays == Plays::Everywhere && !start) return json("ready", -1, url);
  if (cache_.has(one.key)) return json("ready", -1, urlOf(library, movie.modelId, ".mp4", true));
  MovieConverter::State state = converter_.stateOf(one.key);
  // What failed once fails again: whoever asks every second would wait without end.
  if (start && converter_.isAvailable() && state.step == Step::Unknown) {
    converter_.start(one.key, std::move(one.found.file), one.kind.format, one.kind.seconds);
    state = converter_.stateOf(one.key);
    // The queue is full: the page asks again.
    if (state.step == Step::Unknown) state.step = Step::Waiting;
  }
  if (state.step == Step::Waiting) return json("waiting", 0, "");
  if (state.step == Step::Converting) return json("converting", state.percent, "");
  if (plays && !start) return json("ready", -1, url);
  return json(state.step == Step::Failed || !converter_.isAvailable() ? "none" : "convert", -1, "");
}

void MovieRequests::state(FileTask task) {
  const auto library = task.library;
  const auto answer = [this, task](OpenLibrary& open) {
    const auto photo = PhotoFiles(open).shown(task.id);
    if (!photo || !hasMovie(*photo)) return task.sendMissing(open);
    std::string json = stateJson(*task.library, open, *photo, task.wants("start"));
    if (mayLackFiles(open)) return task.sendMissing(open);
    task.send(taggedJsonReply(std::move(json)));
  };
  if (!library->post(answer)) task.sendBusy();
}

void MovieRequests::file(FileTask task, const std::string& extension) {
  const auto library = task.library;
  const auto answer = [this, task, extension](OpenLibrary& open) {
    const auto photo = PhotoFiles(open).shown(task.id);
    if (!photo || !hasMovie(*photo)) return task.sendMissing(open);
    Movie movie = movieOf(*task.library, open, *photo);
    if (mayLackFiles(open)) return task.sendMissing(open);
    if (task.wants("made")) {
      OpenFile made = cache_.open(movie.key);
      if (!isOpen(made)) return task.sendUnknown();
      HttpReply reply = fileReply(std::move(made), "video/mp4", HttpReply::Cache::Private);
      // The cache sets the file's time whenever it is used.
      reply.etag = movie.key;
      return task.send(std::move(reply));
    }
    if (!isOpen(movie.found.file) || movie.kind.plays == MovieKind::Plays::Nowhere ||
        extension != movie.kind.extension())
      return task.sendUnknown();
    task.send(fileReply(std::move(movie.found.file), movie.kind.mediaType(), HttpReply::Cache::Private));
  };
  if (!library->post(answer)) task.sendBusy();
}

}  // namespace moxtel
