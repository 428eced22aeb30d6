// The library's containers: folders, projects, albums and smart albums as container dictionaries, one level
// of the tree per call, and the two top-level lists, which are cached. Core thread.
//
// Keys of a container dictionary: "AlbumType" ("Folder", "Project", "Album"), "AlbumName", "AlbumId" (its
// uuid), "ModelId", "PhotoCount", for albums "IPAlbumType" ("Regular", "Smart"), and where there is one
// "KeyPhotoKey" (a version's uuid), "Note" and "OrderNumber". A NULL in the database leaves its key out and
// keeps the record; so does a folder of an unknown type, which has no "AlbumType".
//
// Building a list asks the photo application about small containers, which may take as long as its scripts
// run. No query is open then; the code that runs the script releases the databases' locks
// (PhotoApplicationQueries.h).
#pragma once

#include <cstdint>
#include <string_view>

#include "library/ListSize.h"
#include "library/PhotoApplicationQueries.h"
#include "value/Value.h"

namespace moxtel {

class LibraryDatabases;
class UserDefaults;

class ContainerTree final {
 public:
  // Borrows everything.
  ContainerTree(LibraryDatabases& databases, PhotoApplicationQueries& application,
                const UserDefaults& defaults, std::uint64_t largestList = kLargestReplyArchive);

  // A mutable array of mutable container dictionaries, sorted by the user's order; nil when the library
  // database cannot be opened. The parent is the client's "id": any value. This method and the next two throw
  // ArchiveTooLargeError for a list whose reply would be larger than the largest.
  Value containersInParentUuid(const Value& parent);

  // The lists below "TopLevelAlbums" and "AllProjectsItem", built on the first call and cached. A list that
  // is nil, or that was built while a database could not be opened or read or with a doubtful answer of the
  // photo application, is returned and not cached.
  Value getTopLevelAlbums();
  Value getTopLevelProjects();
  // Kept for completeness, no request reaches the next three. The first container of the top-level list with
  // this "AlbumId", nil without.
  Value albumDictWithUuid(const Value& uuid);
  Value projectDictWithUuid(const Value& uuid);

  // For diagnosis: the folders of the top level and all albums of the library, in one flat mutable array.
  Value albumsFromDB();

  // Drops both top-level lists.
  void dropCaches();

 private:
  // Count, key photo and note of one container of a list.
  void decorate(Dictionary& container);
  Value keyPhotoOf(const Dictionary& container);
  Value keyPhotoOfAlbum(const Dictionary& album);
  Value keptList(Value& kept, std::string_view parent);

  LibraryDatabases& databases_;
  PhotoApplicationQueries& application_;
  const UserDefaults& defaults_;
  const std::uint64_t largestList_;
  Value topLevelAlbums_;
  Value topLevelProjects_;
};

}  // namespace moxtel
