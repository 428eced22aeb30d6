// From a photo's identifier to its image files: their paths, their bytes, their pixels, and the rotation that
// the library keeps for a photo. Core thread.
//
// The paths are those that the databases give, joined to the library's folder; open() finds the file that is
// meant, on a disk that knows letter case and Unicode normal form too.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "library/LibraryFileFinder.h"
#include "pictures/codec/PixelBuffer.h"
#include "platform/files/FileReader.h"
#include "value/Value.h"

namespace moxtel {

class Faces;
class LibraryDatabases;
class LibraryLocation;
class PictureDecoder;

class ImageFiles final {
 public:
  // Borrows everything.
  ImageFiles(const LibraryLocation& location, LibraryDatabases& databases, Faces& faces);

  // Nothing while no library is known.
  std::optional<std::string> masterPathBase() const;
  std::optional<std::string> thumbnailPathBase() const;
  std::optional<std::string> previewPathBase() const;
  // The identifier is a version uuid or a decimal version id.
  std::optional<std::string> thumbnailPathWithUuid(const Value& identifier, bool mini, bool face);
  std::optional<std::string> pathNameOfImageWithUuid(const Value& uuid);
  // Degrees; 0 for an unknown uuid.
  std::int32_t rotationOfVersionId(const Value& uuid);

  // Opens the file that the last answer of the path methods above stands for. Missing for no path, and for
  // one that leads out of its folder: one with "..", or one that the database gave as an absolute path. Ends
  // the library's read transactions first, for what follows may take long.
  OpenFile open(const std::optional<std::string>& path);
  // Ends the library's read transactions, before anything that takes long.
  void releaseLocks();

  // Pixels in their stored orientation; nothing without a path, a file, or a picture in it.
  std::optional<PixelBuffer> thumbnailImageWithUuid(const Value& identifier, bool mini,
                                                    PictureDecoder& decoder);
  std::optional<PixelBuffer> imageWithUuid(const Value& uuid, PictureDecoder& decoder);

 private:
  struct ProxyPaths {
    Value thumbnail;
    Value faceTile;
  };
  ProxyPaths proxyPathsOf(const Value& identifier, bool mini);
  std::int32_t faceIndexOf(const Value& identifier);
  std::optional<std::string> below(const std::optional<std::string>& base, const Value& relative);
  std::optional<std::string> base(std::string_view folder) const;
  Value fullSizePreviewPath(const Value& uuid);
  Value masterImagePath(const Value& masterUuid);
  std::optional<PixelBuffer> pixelsOf(const std::optional<std::string>& path, PictureDecoder& decoder);

  const LibraryLocation& location_;
  LibraryDatabases& databases_;
  Faces& faces_;
  LibraryFileFinder finder_;
  bool absolute_ = false;  // the last path was one from the file system's root, joined all the same
};

}  // namespace moxtel
