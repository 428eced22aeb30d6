#include "web/api/LibraryApi.h"

#include <functional>
#include <utility>

#include "web/LibraryRoutes.h"
#include "web/api/Json.h"
#include "web/api/LibraryJson.h"
#include "web/api/PhotoJson.h"
#include "web/files/FileReplies.h"

namespace moxtel {

namespace {

using SharedLibrary = std::shared_ptr<OpenWebLibrary>;
using SharedResponder = std::shared_ptr<HttpResponder>;

void sendJson(HttpResponder& responder, std::string json, HttpReply::Cache cache = HttpReply::Cache::No) {
  HttpReply reply = taggedJsonReply(std::move(json));
  reply.cache = cache;
  responder.send(std::move(reply));
}

// Answers on the library's thread, unless the client has left.
void answerLater(const SharedLibrary& library, const SharedResponder& responder,
                 std::function<void(OpenLibrary&)> answer) {
  const auto task = [responder, answer = std::move(answer)](OpenLibrary& open) {
    if (!responder->isGone()) answer(open);
  };
  if (!library->postLong(task)) responder->send(errorReply(503, "busy"));
}

// For what is read from the databases alone.
void answerIfReadable(const SharedLibrary& library, const SharedResponder& responder,
                      std::function<std::string(OpenLibrary&)> json) {
  answerLater(library, responder, [library, responder, json = std::move(json)](OpenLibrary& open) {
    const bool isReady = open.state() == OpenLibrary::State::Ready;
    std::string text = isReady ? json(open) : std::string();
    open.endReading();
    if (!isReady || mayLackFiles(open)) return responder->send(missingReply(open));
    if (text.empty()) return responder->send(errorReply(404, "unknown"));
    sendJson(*responder, std::move(text));
  });
}

struct ListRequest {
  ListAddress address;
  ListFilters filters;
  std::string version;
};

void sendPage(HttpResponder& responder, const ListedPhotos& list, std::int64_t page) {
  auto json = list.pageJson(static_cast<std::size_t>(page));
  if (!json) return responder.send(errorReply(404, "unknown"));
  sendJson(responder, std::move(*json), HttpReply::Cache::Immutable);
}

void sendPlace(HttpResponder& responder, const ListedPhotos& list, std::int64_t photo) {
  const auto place = list.placeOf(photo);
  if (!place) return responder.send(errorReply(404, "unknown"));
  sendJson(responder, "{\"index\":" + std::to_string(*place) + "}", HttpReply::Cache::Immutable);
}

void answerSections(const SharedLibrary& library, const ListRequest& wanted,
                    const SharedResponder& responder) {
  answerLater(library, responder, [library, wanted, responder](OpenLibrary& open) {
    auto made = library->listFor(open, wanted.address, wanted.filters, [&] { return responder->isGone(); });
    if (auto* const reply = std::get_if<HttpReply>(&made)) return responder->send(std::move(*reply));
    sendJson(*responder, std::get<0>(made)->sectionsJson());
  });
}

// What depends on the places of photos: only of the list that the client has seen.
void answerFromList(const SharedLibrary& library, const ListRequest& wanted, const SharedResponder& responder,
                    const std::function<void(const ListedPhotos&)>& answer) {
  if (wanted.version.empty()) return responder->send(errorReply(400, "request"));
  if (const auto kept = library->keptList(wanted.address, wanted.filters, wanted.version))
    return answer(*kept);
  answerLater(library, responder, [library, wanted, responder, answer](OpenLibrary& open) {
    library->lookUnless(open, wanted.address, wanted.version);
    auto made = library->listFor(open, wanted.address, wanted.filters, [&] { return responder->isGone(); });
    if (auto* const reply = std::get_if<HttpReply>(&made)) return responder->send(std::move(*reply));
    const ListedPhotos& list = *std::get<0>(made);
    if (list.version() != wanted.version) return responder->send(errorReply(410, "version"));
    answer(list);
  });
}

void handleList(const SharedLibrary& library, const HttpRequest& request,
                std::span<const std::string> segments, const SharedResponder& responder) {
  const auto unknown = [&] { responder->send(errorReply(404, "unknown")); };
  const auto address = segments.empty() ? std::nullopt : parseListAddress(segments[0]);
  if (!address || segments.size() > 3) return unknown();
  const auto filters = parseListFilters(request);
  if (!filters) return responder->send(errorReply(400, "request"));
  const ListRequest wanted{*address, *filters, request.query("v").value_or("")};
  if (segments.size() == 1) return answerSections(library, wanted, responder);
  const auto number = parseNumber(segments.back());
  if (!number || (segments.size() == 3 && segments[1] != "at")) return unknown();
  answerFromList(library, wanted, responder,
                 [responder, isPlace = segments.size() == 3, n = *number](const ListedPhotos& list) {
                   isPlace ? sendPlace(*responder, list, n) : sendPage(*responder, list, n);
                 });
}

}  // namespace

void LibraryApi::handle(const SharedLibrary& library, const HttpRequest& request,
                        std::span<const std::string> segments, SharedResponder responder) {
  const std::string name = segments.empty() ? "" : segments[0];
  const auto read = [&](std::string (*json)(OpenWebLibrary&, OpenLibrary&)) {
    answerIfReadable(library, responder, [library, json](OpenLibrary& open) { return json(*library, open); });
  };
  if (name == "list") return handleList(library, request, segments.subspan(1), responder);
  if (name == "photo" && segments.size() == 2) {
    const auto id = parseNumber(segments[1]);
    if (!id) return responder->send(errorReply(404, "unknown"));
    return answerIfReadable(library, responder, [library, &files = files_, id = *id](OpenLibrary& open) {
      return photoJson(*library, open, files, id);
    });
  }
  if (segments.size() != 1) return responder->send(errorReply(404, "unknown"));
  if (name == "library")
    return answerLater(library, responder, [library, responder, &files = files_](OpenLibrary& open) {
      std::string json = libraryJson(*library, open, files.canDecode());
      open.endReading();
      sendJson(*responder, std::move(json));
    });
  if (name == "suggest") {
    const std::string words = request.query("q").value_or("");
    if (words.size() > ListAddress::kMostWords) return responder->send(errorReply(400, "request"));
    return answerIfReadable(library, responder, [library, words](OpenLibrary& open) {
      return suggestionsJson(*library, open, words);
    });
  }
  if (name == "albums") return read(albumsJson);
  if (name == "events") return read(eventsJson);
  if (name == "people") return read(peopleJson);
  if (name == "keywords") return read(keywordsJson);
  responder->send(errorReply(404, "unknown"));
}

}  // namespace moxtel
