// Hands the requests below /l/LIB/ and /api/1/ on: to the library's JSON, to its pictures and movies, or to
// the page. Any thread.
#pragma once

#include <memory>
#include <span>
#include <string>

#include "web/http/HttpHandler.h"

namespace moxtel {

class OpenLibrary;
class OpenWebLibrary;
class WebLibraries;
class WebLibrary;
struct PhotoFacts;

// Answers what is made of a library's files: pictures, movies, archives.
class LibraryFileHandler {
 public:
  LibraryFileHandler() = default;
  virtual ~LibraryFileHandler() = default;
  LibraryFileHandler(const LibraryFileHandler&) = delete;
  LibraryFileHandler& operator=(const LibraryFileHandler&) = delete;

  // segments: of the path behind /l/LIB/, {"thumb", "12"}; for movies and archives also {"api", "1", "movie",
  // "12"} and {"api", "1", "zip", "album:12"}. Called on several threads of the server at once; must not
  // block. The request is valid during the call.
  virtual void handle(const std::shared_ptr<WebLibrary>& library, const HttpRequest& request,
                      std::span<const std::string> segments, std::shared_ptr<HttpResponder> responder) = 0;
  // The JSON object with the address and the state of a movie, or of the movie of a live photo, for the
  // information about it. Called on
  // the library's thread for long tasks.
  virtual std::string movieJson(WebLibrary& library, OpenLibrary& open, const PhotoFacts& movie) = 0;
  // Whether pictures that are no JPEGs can be shown. Any thread.
  virtual bool canDecode() const = 0;
};

class LibraryRoutes final : public HttpHandler {
 public:
  // Borrows everything. page answers what is no address of a library's data, and "/" with several libraries
  // or none.
  LibraryRoutes(WebLibraries& libraries, LibraryFileHandler& files, HttpHandler& page)
      : libraries_(libraries), files_(files), page_(page) {}

  // Paths that are "/", or begin with "/l/" or "/api/1/".
  void handle(const HttpRequest& request, std::shared_ptr<HttpResponder> responder) override;

 private:
  void handleStart(const HttpRequest& request, std::shared_ptr<HttpResponder> responder);
  void handleLibrary(const HttpRequest& request, std::shared_ptr<HttpResponder> responder);
  void handleData(const std::shared_ptr<OpenWebLibrary>& library, const HttpRequest& request,
                  const std::shared_ptr<HttpResponder>& responder);

  WebLibraries& libraries_;
  LibraryFileHandler& files_;
  HttpHandler& page_;
};

}  // namespace moxtel
