#include "web/LibraryRoutes.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "web/OpenWebLibrary.h"
#include "web/WebLibraries.h"
#include "web/api/Json.h"
#include "web/api/LibraryApi.h"
#include "web/http/HttpGate.h"

namespace moxtel {

namespace {

using Json = nlohmann::ordered_json;
using Segments = std::span<const std::string>;

const char* stateText(WebLibrary::State state) {
  switch (state) {
    case WebLibrary::State::Away:
      return "away";
    case WebLibrary::State::Unreadable:
      return "unreadable";
    case WebLibrary::State::Ready:
      break;
  }
  return "ready";
}

Json jsonOf(const LibraryCard& card) {
  Json json{{"id", card.id}, {"name", card.name}, {"kind", card.kind}};
  if (card.first && card.last) {
    json["first"] = *card.first;
    json["last"] = *card.last;
  }
  if (card.photos) json["photos"] = *card.photos;
  json["state"] = stateText(card.state);
  json["served"] = card.isServed;
  return json;
}

std::string librariesJson(const std::string& server, const std::vector<LibraryCard>& cards) {
  Json libraries = Json::array();
  for (const LibraryCard& card : cards) libraries.push_back(jsonOf(card));
  return Json{{"server", server}, {"libraries", libraries}}.dump(-1, ' ', false,
                                                                 Json::error_handler_t::replace);
}

HttpReply redirection(const std::string& address) {
  HttpReply reply;
  reply.status = 302;
  reply.headers.emplace_back("Location", address);
  return reply;
}

}  // namespace

void LibraryRoutes::handle(const HttpRequest& request, std::shared_ptr<HttpResponder> responder) {
  const Segments segments(request.segments);
  if (!segments.empty() && segments[0] == "l") return handleLibrary(request, std::move(responder));
  if (segments.empty()) return handleStart(request, std::move(responder));
  if (segments.size() != 3 || segments[0] != "api" || segments[1] != "1" || segments[2] != "libraries")
    return responder->send(errorReply(404, "unknown"));
  const bool isAccepted = libraries_.withCards([this, responder](const std::vector<LibraryCard>& cards) {
    responder->send(taggedJsonReply(librariesJson(libraries_.serverName(), cards)));
    libraries_.countPhotos();
  });
  if (!isAccepted) responder->send(errorReply(503, "busy"));
}

// The only library, or the page that shows which there are.
void LibraryRoutes::handleStart(const HttpRequest& request, std::shared_ptr<HttpResponder> responder) {
  const bool isAccepted =
      libraries_.withCards([this, request, responder](const std::vector<LibraryCard>& cards) {
        if (cards.size() == 1) return responder->send(redirection("/l/" + cards.front().id + "/"));
        page_.handle(request, responder);
      });
  if (!isAccepted) responder->send(errorReply(503, "busy"));
}

void LibraryRoutes::handleLibrary(const HttpRequest& request, std::shared_ptr<HttpResponder> responder) {
  if (isPageAddress(request.segments)) return page_.handle(request, std::move(responder));
  if (request.segments.size() < 2) return responder->send(errorReply(404, "unknown"));
  // Without a copy of the request.
  if (const auto library = libraries_.openLibrary(request.segments[1]))
    return handleData(library, request, responder);
  const bool isAccepted = libraries_.withLibrary(
      request.segments[1], [this, request, responder](const std::shared_ptr<OpenWebLibrary>& library) {
        if (!library) return responder->send(errorReply(404, "unknown"));
        handleData(library, request, responder);
      });
  if (!isAccepted) responder->send(errorReply(503, "busy"));
}

void LibraryRoutes::handleData(const std::shared_ptr<OpenWebLibrary>& library, const HttpRequest& request,
                               const std::shared_ptr<HttpResponder>& responder) {
  const Segments segments = Segments(request.segments).subspan(2);
  const bool isApi = segments[0] == "api";
  if (isApi && (segments.size() < 3 || segments[1] != "1"))
    return responder->send(errorReply(404, "unknown"));
  if (!isApi || segments[2] == "movie" || segments[2] == "zip")
    return files_.handle(library, request, segments, responder);
  LibraryApi(files_).handle(library, request, segments.subspan(2), responder);
}

}  // namespace moxtel
