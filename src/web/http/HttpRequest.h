// One request to the page, decoded and checked: the server has already verified method, Host, size and
// access. A plain value; the server keeps it until the request is answered.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace moxtel {

struct HttpRequest {
  bool head = false;  // HEAD: the server leaves the body of the reply out; handlers answer as for GET
  std::string path;  // percent-decoded UTF-8 that begins with "/", without empty, "." or ".." segments inside
  // The parts of the path between its slashes, each decoded: a slash in a search text is inside its segment.
  // A path that ends in a slash has no empty last segment.
  std::vector<std::string> segments;
  std::vector<std::pair<std::string, std::string>> parameters;  // of the query, decoded, in their order
  std::string range, ifRange, ifNoneMatch;                      // header fields; empty: absent
  bool acceptsGzip = false;
  std::string userAgent;
  std::string peer;  // the client's address as text, behind a proxy the one that the proxy names

  // The first parameter with this name.
  std::optional<std::string> query(std::string_view name) const {
    for (const auto& [key, value] : parameters) {
      if (key == name) return value;
    }
    return std::nullopt;
  }
};

}  // namespace moxtel
