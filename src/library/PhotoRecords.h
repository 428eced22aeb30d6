// Photos and movies as photo dictionaries: those of a container, or a single one. Core thread.
#pragma once

#include "library/PhotoApplicationQueries.h"
#include "value/Value.h"

namespace moxtel {

class AlbumData;
class LibraryDatabases;

class PhotoRecords final {
 public:
  // Borrows everything.
  PhotoRecords(LibraryDatabases& databases, const AlbumData& albumData, PhotoApplicationQueries& application);

  // A mutable array of mutable photo dictionaries in database order; nil when the library database cannot be
  // opened.
  Value photosInContainer(const Value& uuid);
  // One mutable photo dictionary, nil when no version has this uuid.
  Value photoDictWithVersionId(const Value& uuid);
  // Removes "latitude" and "longitude" where they cannot be a position. Degrees.
  static void repairCoordinatesOf(Dictionary& photo);

 private:
  LibraryDatabases& databases_;
  const AlbumData& albumData_;
  PhotoApplicationQueries& application_;
};

}  // namespace moxtel
