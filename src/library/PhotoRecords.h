// Photos and movies as photo dictionaries: those of a container, or a single one. Core thread.
//
// Keys of a photo dictionary: "PhotoKey" (the version's uuid), "ModelId", "MediaType" ("Image", "Movie"),
// "FoundBy" ("SQL", "AppleScript"), where the database has them "latitude" and "longitude" (degrees), for
// projects and albums "Caption" and "Comment", for a single photo "FileName" and "Rotation" (degrees). A NULL
// in the database leaves its key out; a row without a uuid is no photo and is skipped.
//
// A list of n photos is built in time and memory proportional to n, and takes about 0.3 KB per photo. The
// photos of a smart album, whose members the database does not list, come from the photo application; no
// query is open then, and the code that runs the script releases the databases' locks
// (PhotoApplicationQueries.h).
#pragma once

#include <optional>
#include <vector>

#include "library/ListSize.h"
#include "library/PhotoApplicationQueries.h"
#include "library/RecordBuilder.h"
#include "value/Value.h"

namespace moxtel {

class AlbumEntries;
class LibraryDatabases;
class Query;

class PhotoRecords final {
 public:
  // Borrows everything.
  PhotoRecords(LibraryDatabases& databases, const AlbumEntries& albumData,
               PhotoApplicationQueries& application, std::uint64_t largestList = kLargestReplyArchive);

  // A mutable array of mutable photo dictionaries in database order; nil when the library database cannot be
  // opened. "allPhotosAlbum" is the whole library; an unknown uuid gives an empty list. Throws
  // ArchiveTooLargeError for a list whose reply would be larger than the largest.
  Value photosInContainer(const Value& uuid);
  // One mutable photo dictionary, nil when no version has this uuid.
  Value photoDictWithVersionId(const Value& uuid);
  // Removes "latitude" and "longitude" unless both are within ±360 degrees and not both 0, which means no
  // position.
  static void repairCoordinatesOf(Dictionary& photo);

 private:
  Array wholeLibrary();
  bool isFolder(const Value& uuid);
  bool hasStatistics();
  Array photosOfProject(const Value& uuid);
  Array photosOf(Query query, std::size_t later);
  Dictionary photoRecord(const Query& row, Value uuid, const Value& foundBy, int coordinates,
                         std::size_t later);
  bool readsMembersAlone(std::int32_t albumModelId);
  Array photosOfAlbum(const Value& uuid);
  std::optional<Array> photosOfMembers(std::int32_t albumModelId);
  std::int32_t modelIdOfAlbum(const Value& uuid);
  std::vector<Text> membersOf(std::int32_t albumModelId);
  void addCaptions(Array& photos);

  LibraryDatabases& databases_;
  const AlbumEntries& albumData_;
  PhotoApplicationQueries& application_;
  const std::uint64_t largestList_;
  RecordBuilder<8> builder_;
};

}  // namespace moxtel
