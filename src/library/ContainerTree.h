// The library's containers: folders, projects, albums and smart albums as container dictionaries, one level
// of the tree a call, and the two top-level lists kept in memory. Core thread.
#pragma once

#include <string_view>

#include "library/PhotoApplicationQueries.h"
#include "value/Value.h"

namespace moxtel {

class LibraryDatabases;
class UserDefaults;

class ContainerTree final {
 public:
  // Borrows everything.
  ContainerTree(LibraryDatabases& databases, PhotoApplicationQueries& application,
                const UserDefaults& defaults);

  // A mutable array of mutable container dictionaries, sorted by the user's order; nil when the library
  // database cannot be opened. The parent is the client's "id": any value.
  Value containersInParentUuid(const Value& parent);
  Value getTopLevelAlbums();
  Value getTopLevelProjects();
  // The first container of the top-level list with this "AlbumId", nil without.
  Value albumDictWithUuid(const Value& uuid);
  Value projectDictWithUuid(const Value& uuid);
  Value albumsFromDB();

  // Drops both top-level lists.
  void dropCaches();

 private:
  LibraryDatabases& databases_;
  PhotoApplicationQueries& application_;
  const UserDefaults& defaults_;
  Value topLevelAlbums_;
  Value topLevelProjects_;
};

}  // namespace moxtel
