// The files of photos of an open library, for the page. Made for one task, on the thread of the library.
//
// Hidden photos and those in the trash have no files here. Files are found as LibraryFiles finds them: none
// outside the library and the folders that the user named.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "library/LibraryFileFinder.h"
#include "library/facts/PhotoFacts.h"
#include "pictures/codec/Cropping.h"
#include "platform/files/FileReader.h"

namespace moxtel {

class OpenLibrary;

// Where a file was found, to open it again on another thread.
struct FilePlace {
  std::string folder;  // the library's, or one that the user named
  std::string path;    // absolute in the library, else below the folder
  bool isOutside = false;
};
OpenFile openAgain(LibraryFileFinder& finder, const FilePlace& place);

struct PlacedFile {
  OpenFile file;
  FilePlace place;
};

// A picture of a photo, and how it becomes the one that is shown.
struct PictureFile {
  OpenFile file;
  int degrees = 0;  // clockwise, for the stored pixels
};

// Throws MustReadAgain where OpenLibrary::endReading() does; before a reply is sent.
class PhotoFiles final {
 public:
  // Borrows it.
  explicit PhotoFiles(OpenLibrary& library) : library_(library) {}

  // Whether the photo exists and is shown; quicker than shown().
  bool isShown(std::int64_t modelId);
  // Nothing for a photo that does not exist or is not shown.
  std::optional<PhotoFacts> shown(std::int64_t modelId);

  // The picture of at most 1,024 pixels, or the one of at most 360; upright.
  OpenFile thumbnail(std::int64_t modelId, bool mini);
  // The file of a face that the library keeps, by the number in its name.
  OpenFile faceTile(std::int64_t modelId, std::int64_t index);
  // The original as it was imported.
  PlacedFile original(const PhotoFacts& photo);
  // The full-size picture of an edited photo; upright.
  PlacedFile edited(const PhotoFacts& photo);
  // The movie of a live photo.
  PlacedFile live(const PhotoFacts& photo);
  // The best file to make a large picture from: what the photo looks like after edits. Of a movie, its
  // poster.
  PictureFile best(const PhotoFacts& photo);

 private:
  bool isShownPhoto(std::int64_t modelId);
  PlacedFile firstOf(const std::vector<std::string>& paths);
  PlacedFile referenced(const ReferencedFile& reference);

  OpenLibrary& library_;
};

// Where in the displayed picture a face is, with what surrounds it, for a square tile.
std::optional<SquareInPicture> squareAround(const PhotoFacts& photo, std::int64_t index);

}  // namespace moxtel
