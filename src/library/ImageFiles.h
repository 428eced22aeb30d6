// From a photo's identifier to the path of its image files. Core thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "value/Value.h"

namespace moxtel {

class Faces;
class LibraryDatabases;

class ImageFiles final {
 public:
  // Borrows both.
  ImageFiles(LibraryDatabases& databases, Faces& faces);

  std::optional<std::string> masterPathBase() const;
  std::optional<std::string> thumbnailPathBase() const;
  std::optional<std::string> previewPathBase() const;
  // The identifier is a version uuid or a decimal version id.
  std::optional<std::string> thumbnailPathWithUuid(const Value& identifier, bool mini, bool face);
  std::optional<std::string> pathNameOfImageWithUuid(const Value& uuid);
  // Degrees; 0 for an unknown uuid.
  std::int32_t rotationOfVersionId(const Value& uuid);

 private:
  LibraryDatabases& databases_;
  Faces& faces_;
};

}  // namespace moxtel
