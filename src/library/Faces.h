// Named persons as face albums, and the photos that show them. Core thread.
//
// Keys of a face album: "AlbumType" "Face", "AlbumId" (the face's uuid), "AlbumName", "KeyPhotoKey" (the
// version shown for it), "FaceKey", "MasterKey" (that version's master), "FaceIndex" (0-based, which face on
// that master) and "PhotoCount". A NULL in the database leaves its key out.
//
// Faces.db and the library database are read one after the other: what is needed from one is collected before
// the other is queried. The read transactions of both last until the command releases them.
#pragma once

#include <cstdint>
#include <vector>

#include "library/ListSize.h"
#include "value/Value.h"

namespace moxtel {

class LibraryDatabases;

class Faces final {
 public:
  // Borrows it.
  explicit Faces(LibraryDatabases& databases, std::uint64_t largestList = kLargestReplyArchive);

  // The face albums, an immutable array of mutable dictionaries, built on the first call and cached. An empty
  // list when Faces.db cannot be opened. A list built while a database could not be opened or read is
  // returned and not cached.
  Value facesAlbums();
  // The masters on which the face was detected, once for every detection.
  std::vector<Text> masterUuidsForFaceID(const Value& faceId);
  // First versions of those masters: a master with two detections counts twice.
  std::int32_t photoCountForFaceID(const Value& faceId);
  // Those versions as a mutable array of mutable dictionaries with "PhotoKey", "MediaType" ("Image", also for
  // movies) and "FoundBy". Throws ArchiveTooLargeError for a list whose reply would be larger than the
  // largest.
  Value photosForFaceID(const Value& faceId);

  void dropCaches() { topFacesAlbums_ = {}; }

 private:
  std::vector<Dictionary> readFaceNames();
  void addMasterKeys(std::vector<Dictionary>& faces);
  void addFaceIndexes(std::vector<Dictionary>& faces);
  void addPhotoCounts(std::vector<Dictionary>& faces);

  LibraryDatabases& databases_;
  const std::uint64_t largestList_;
  Value topFacesAlbums_;
};

}  // namespace moxtel
