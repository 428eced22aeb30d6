// The files of the page, which are embedded in the program and compressed already. Immutable; any thread.
#pragma once

#include <cstddef>
#include <map>
#include <span>
#include <string>
#include <string_view>

#include "web/http/HttpReply.h"

namespace moxtel {

class PageFiles final {
 public:
  // Those of this program.
  PageFiles();

  // Whether there is a file with this name, for example "index.html" or "assets/main-5KZ2.js".
  bool has(std::string_view name) const { return files_.contains(name); }
  // The file; 404 where there is none. Names of assets contain a hash of their contents, so they are kept for
  // good.
  HttpReply reply(std::string_view name, bool acceptsGzip) const;
  // Its text, not compressed; empty where there is none.
  std::string text(std::string_view name) const;

 private:
  struct File {
    std::span<const char> bytes;
    bool isCompressed = false;
    std::string etag;
  };
  std::map<std::string, File, std::less<>> files_;
};

// The media type of a file of the page, by its name.
std::string pageFileType(std::string_view name);

}  // namespace moxtel
