// From a photo's identifier to its image files: their paths, their bytes, their pixels, and the rotation that
// the library keeps for a photo. Core thread.
//
// The paths are those that the databases give, joined to the library's folder; open() finds the file (see
// LibraryFileFinder.h), also one outside the library to which the library only refers, if it lies below a
// folder that the user named.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "pictures/codec/Cropping.h"
#include "pictures/codec/PixelBuffer.h"
#include "platform/files/FileReader.h"
#include "value/Value.h"

namespace moxtel {

class Faces;
class LibraryDatabases;
class LibraryFiles;
class LibraryLocation;
class PictureDecoder;

class ImageFiles final {
 public:
  // Borrows everything.
  ImageFiles(const LibraryLocation& location, LibraryDatabases& databases, Faces& faces, LibraryFiles& files);

  // Nothing while no library is known.
  std::optional<std::string> masterPathBase() const;
  std::optional<std::string> thumbnailPathBase() const;
  std::optional<std::string> previewPathBase() const;
  // The identifier is a version uuid or a decimal version id.
  std::optional<std::string> thumbnailPathWithUuid(const Value& identifier, bool mini, bool face);
  std::optional<std::string> pathNameOfImageWithUuid(const Value& uuid);
  // Where in the picture of the last path the requested face is, in a library that keeps no files of faces;
  // nothing if the whole picture was requested.
  const std::optional<SquareInPicture>& partOfPicture() const { return part_; }
  // Degrees; 0 for an unknown uuid.
  std::int32_t rotationOfVersionId(const Value& uuid);

  // Opens the file of the last path that a method above returned. Missing without a path, and for one that
  // leads out of its folder. A link that leads out of the library is reported to the user, once for each
  // folder that it leads to. Ends the library's read transactions first, because what follows may take long.
  OpenFile open(const std::optional<std::string>& path);
  // Ends the library's read transactions, before anything that takes long.
  void releaseLocks();

  // Kept for completeness, no request reaches the next two. Pixels in their stored orientation; nothing
  // without a path, a file, or a picture in it.
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
  // Of several candidates the first that exists, or the first one.
  std::optional<std::string> below(const std::optional<std::string>& base, const Value& relative);
  std::optional<std::string> facePathOf(const Value& identifier, const Value& thumbnail);
  std::optional<std::string> base(std::string_view folder) const;
  Value fullSizePreviewPath(const Value& uuid);
  Value masterImagePath(const Value& masterUuid);
  // A master that lies outside the library.
  struct Reference {
    std::string path;    // below the volume
    std::string volume;  // its name; empty if unknown
  };
  std::optional<Reference> referenceOf(const Value& masterUuid, const Value& imagePath);
  OpenFile openReference(const Reference& reference);
  std::optional<PixelBuffer> pixelsOf(const std::optional<std::string>& path, PictureDecoder& decoder);

  const LibraryLocation& location_;
  LibraryDatabases& databases_;
  Faces& faces_;
  LibraryFiles& files_;
  std::optional<SquareInPicture> part_;
  std::optional<Reference> reference_;  // of the last path, if the user named folders
};

}  // namespace moxtel
