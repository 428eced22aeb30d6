#include "web/files/FileHandlers.h"

#include <cerrno>

#include "platform/files/FileCache.h"
#include "platform/files/Files.h"
#include "web/files/MovieConverter.h"
#include "web/files/MovieRequests.h"
#include "web/files/PictureMaker.h"
#include "web/files/PictureRequests.h"
#include "web/files/ZipRequests.h"
#include "web/lists/ListAddress.h"

namespace moxtel {
namespace {

using Segments = std::span<const std::string>;

// "12.mp4": the number and the extension.
std::optional<std::pair<std::int64_t, std::string>> movieName(const std::string& name) {
  const std::size_t point = name.find('.');
  if (point == std::string::npos) return std::nullopt;
  const auto id = parseNumber(std::string_view(name).substr(0, point));
  const std::string extension = name.substr(point);
  if (!id || (extension != ".mp4" && extension != ".mov")) return std::nullopt;
  return std::pair(*id, extension);
}

}  // namespace

struct FileHandlers::Parts {
  Parts(const FileHandlersOptions& options, ProcessRunner& processes, const AddressSigner& signer)
      : pictureDecoder(options.pictureDecoder),
        cache(options.cacheFolder + "/pictures", options.cacheBytes),
        maker(cache, processes, options.pictureDecoder),
        converter(cache, processes, options.movieConverter),
        pictures(cache, maker),
        movies(cache, converter, signer) {}

  // A thumbnail that was sent before takes the shortest way.
  bool answerAtOnce(const WebLibrary& library, const HttpRequest& request, Segments segments,
                    HttpResponder& responder) const;
  // False for an address that does not exist.
  bool answer(FileTask task, Segments segments);
  bool answerPicture(FileTask task, const std::string& what, Segments rest);
  bool answerJson(FileTask task, Segments segments);

  const std::string pictureDecoder;
  FileCache cache;
  PictureMaker maker;
  MovieConverter converter;
  PictureRequests pictures;
  MovieRequests movies;
  ZipRequests zips;
};

FileHandlers::FileHandlers(const FileHandlersOptions& options, ProcessRunner& processes,
                           const AddressSigner& signer)
    : parts_(std::make_unique<Parts>(options, processes, signer)) {}

FileHandlers::~FileHandlers() = default;

void FileHandlers::handle(const std::shared_ptr<WebLibrary>& library, const HttpRequest& request,
                          Segments segments, std::shared_ptr<HttpResponder> responder) {
  if (parts_->answerAtOnce(*library, request, segments, *responder)) return;
  if (!parts_->answer({library, request, responder}, segments)) responder->send(errorReply(404, "unknown"));
}

std::string FileHandlers::movieJson(WebLibrary& library, OpenLibrary& open, const PhotoFacts& movie) {
  return parts_->movies.stateJson(library, open, movie, false);
}

bool FileHandlers::canDecode() const {
  const FileStamp stamp = stampOf(parts_->pictureDecoder);
  return stamp.kind != FileStamp::Kind::Missing || stamp.error != ENOENT;
}

bool FileHandlers::Parts::answerAtOnce(const WebLibrary& library, const HttpRequest& request,
                                       Segments segments, HttpResponder& responder) const {
  if (segments.size() != 2 || (segments[0] != "thumb" && segments[0] != "square")) return false;
  const auto id = parseNumber(segments[1]);
  return id && pictures.sendKnownThumbnail(library, request, *id, segments[0] == "square", responder);
}

bool FileHandlers::Parts::answer(FileTask task, Segments segments) {
  if (segments.size() == 4 && segments[0] == "api") return answerJson(std::move(task), segments);
  if (segments.size() == 2 && segments[0] == "zip") return zips.archive(std::move(task), segments[1]), true;
  if (segments.size() == 2 && segments[0] == "movie") {
    const auto name = movieName(segments[1]);
    if (!name) return false;
    task.id = name->first;
    return movies.file(std::move(task), name->second), true;
  }
  const auto id = segments.size() < 2 ? std::nullopt : parseNumber(segments[1]);
  if (!id) return false;
  task.id = *id;
  return answerPicture(std::move(task), segments[0], segments.subspan(2));
}

bool FileHandlers::Parts::answerPicture(FileTask task, const std::string& what, Segments rest) {
  if (what == "face") {
    const auto index = rest.size() == 1 ? parseNumber(rest[0]) : std::nullopt;
    return index && (pictures.face(std::move(task), *index), true);
  }
  if (!rest.empty()) return false;
  if (what == "thumb") return pictures.thumbnail(std::move(task), false), true;
  if (what == "square") return pictures.thumbnail(std::move(task), true), true;
  if (what == "preview") return pictures.preview(std::move(task), PictureRequests::kPreviewSide), true;
  if (what == "large") return pictures.preview(std::move(task), PictureRequests::kLargeSide), true;
  if (what == "original") return pictures.original(std::move(task)), true;
  if (what == "edited") return pictures.edited(std::move(task)), true;
  return false;
}

bool FileHandlers::Parts::answerJson(FileTask task, Segments segments) {
  if (segments[2] == "zip") return zips.description(std::move(task), segments[3]), true;
  const auto id = parseNumber(segments[3]);
  if (segments[2] != "movie" || !id) return false;
  task.id = *id;
  return movies.state(std::move(task)), true;
}

}  // namespace moxtel
