// Named persons as face albums, and the photos that show them. Core thread.
#pragma once

#include <cstdint>
#include <vector>

#include "value/Value.h"

namespace moxtel {

class LibraryDatabases;

class Faces final {
 public:
  // Borrows it.
  explicit Faces(LibraryDatabases& databases);

  // The face albums: an immutable array of mutable dictionaries once cached; an empty list, not cached, when
  // Faces.db cannot be opened.
  Value facesAlbums();
  std::vector<Text> masterUuidsForFaceID(const Value& faceId);
  std::int32_t photoCountForFaceID(const Value& faceId);
  Value photosForFaceID(const Value& faceId);

  void dropCaches() { topFacesAlbums_ = {}; }

 private:
  LibraryDatabases& databases_;
  Value topFacesAlbums_;
};

}  // namespace moxtel
