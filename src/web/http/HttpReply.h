// What a handler answers. The server adds the rest: Content-Length, 304, 206 and 416, the security headers,
// and gzip for JSON. A reply is moved, never copied.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "web/http/HttpBody.h"

namespace moxtel {

struct HttpReply {
  enum class Cache {
    No,         // "no-cache": the browser asks each time, with the ETag
    Private,    // kept for an hour by the browser alone
    Immutable,  // kept for a year: the address has the version in it
  };

  int status = 200;
  std::string type;  // media type, for example "image/jpeg"
  std::variant<std::string, FileBody, std::shared_ptr<HttpBody>> body;
  std::string etag;  // without quotes, of visible ASCII; empty: none
  Cache cache = Cache::No;
  std::string downloadName;  // UTF-8 name of the file that the browser stores; empty: shown in place
  std::vector<std::pair<std::string, std::string>> headers;  // further ones
};

// {"error":"WORD"}
HttpReply errorReply(int status, std::string_view word);
// A complete JSON text.
HttpReply jsonReply(std::string json, std::string etag = {});

}  // namespace moxtel
