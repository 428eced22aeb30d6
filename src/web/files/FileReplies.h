// Replies with files of a library or of the cache. Any thread.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/files/FileReader.h"
#include "web/WebLibrary.h"
#include "web/files/JpegHead.h"
#include "web/http/HttpHandler.h"

namespace moxtel {

// Immutable when the address names the library's version.
HttpReply::Cache cacheOf(const HttpRequest& request, const WebLibrary& library);

// Whether what a task found may be less than there is: a database or a file could not be opened now.
bool mayLackFiles(const OpenLibrary& open);
// 404; 503 "away" where the library is away or cannot be read, "busy" for want of descriptors or memory.
HttpReply missingReply(OpenLibrary& open);

// What a request for a file needs after handle() has returned.
struct FileTask {
  std::shared_ptr<WebLibrary> library;
  HttpRequest request;
  std::shared_ptr<HttpResponder> responder;
  std::int64_t id = 0;  // of the photo

  bool wants(std::string_view flag) const { return request.query(flag) == "1"; }
  HttpReply::Cache cache() const { return cacheOf(request, *library); }
  void send(HttpReply reply) const { responder->send(std::move(reply)); }
  void sendUnknown() const { send(errorReply(404, "unknown")); }
  // That a file is missing, or that it could not be looked for now.
  void sendMissing(OpenLibrary& open) const { send(missingReply(open)); }
  void sendBusy() const { send(errorReply(503, "busy")); }
};

// Changes with the file, and is the same again for the same file: small letters, digits and hyphens.
std::string stampText(const OpenFile& file);

// The kernel sends the file.
HttpReply fileReply(OpenFile file, std::string type, HttpReply::Cache cache);
// The JPEG with another orientation.
HttpReply turnedReply(OpenFile file, JpegHead::Turned turned, int orientation, HttpReply::Cache cache);

// The media type of an original by the extension of its name, from a list of our own;
// "application/octet-stream" for others.
const char* mediaTypeOf(std::string_view fileName);
// In small letters, with its point; empty without one.
std::string extensionOf(std::string_view fileName);
// The value of Content-Disposition for a picture that is shown, and has a name when it is stored.
std::string inlineWithName(std::string_view fileName);

}  // namespace moxtel
