// Answers requests for movies, and for the movies of live photos: the file as it is where browsers play it,
// else a converted one, and the state of that. Any thread.
#pragma once

#include <string>

#include "web/files/FileReplies.h"
#include "web/files/MovieKind.h"
#include "web/files/PhotoFiles.h"
#include "web/http/AddressSigner.h"

namespace moxtel {

class FileCache;
class MovieConverter;

class MovieRequests final {
 public:
  // Borrows everything.
  MovieRequests(FileCache& cache, MovieConverter& converter, const AddressSigner& signer)
      : cache_(cache), converter_(converter), signer_(signer) {}

  // extension: of the address. With "made=1" the converted movie.
  void file(FileTask task, const std::string& extension);
  // {"state","percent","url"}; with "start=1" a conversion starts.
  void state(FileTask task);
  // The same for a movie that is shown, on the thread of the library.
  std::string stateJson(const WebLibrary& library, OpenLibrary& open, const PhotoFacts& movie, bool start);

 private:
  struct Movie {
    PlacedFile found;
    MovieKind kind;
    std::string key;  // of the converted one in the cache
  };
  static Movie movieOf(const WebLibrary& library, OpenLibrary& open, const PhotoFacts& photo);
  std::string urlOf(const WebLibrary& library, std::int64_t id, const char* extension, bool made) const;

  FileCache& cache_;
  MovieConverter& converter_;
  const AddressSigner& signer_;
};

}  // namespace moxtel
