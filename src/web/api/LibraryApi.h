// Answers the requests below /l/LIB/api/1/ with JSON. Any thread.
#pragma once

#include <memory>
#include <span>
#include <string>

#include "web/OpenWebLibrary.h"
#include "web/http/HttpResponder.h"

namespace moxtel {

class LibraryFileHandler;

class LibraryApi final {
 public:
  // Borrows it, for what is said about movies; it must outlive the replies, this object need not.
  explicit LibraryApi(LibraryFileHandler& files) : files_(files) {}

  // segments: of the path behind api/1/.
  void handle(const std::shared_ptr<OpenWebLibrary>& library, const HttpRequest& request,
              std::span<const std::string> segments, std::shared_ptr<HttpResponder> responder);

 private:
  LibraryFileHandler& files_;
};

}  // namespace moxtel
