// Which photos are in a list, and in which albums a photo is. On the thread of the databases.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "library/answers/FolderPhotos.h"
#include "library/answers/LibraryLists.h"
#include "library/facts/PhotoColumns.h"

namespace moxtel {

class LibraryDatabases;
class SmartAlbums;

class AlbumMembership final {
 public:
  // Borrows both.
  AlbumMembership(LibraryDatabases& databases, SmartAlbums& smartAlbums);

  // All photos, read once and kept until dropCaches(); a holder keeps what it has. Empty when the library
  // cannot be read; then it is tried again the next time.
  std::shared_ptr<const PhotoColumns> columns();

  // The model ids of a list's photos, each once, in the user's order: albums as they are sorted, everything
  // else by date. None of them is in the trash. Folders have the photos of all albums and events below them,
  // keywords those of the keywords below them. Nothing for an unknown list.
  std::optional<std::vector<std::int64_t>> membersOf(const PhotoList& list,
                                                     HiddenMembers hidden = HiddenMembers::LeftOut);
  // The model ids of the albums, smart ones included, that a photo is in, ascending.
  std::vector<std::int64_t> albumsOf(std::int64_t photo);
  // Puts photos in the order of their dates; those without a date are last.
  void sortByDate(std::vector<std::int64_t>& photos);

  void dropCaches();

 private:
  std::optional<std::vector<std::int64_t>> membersOfAlbum(std::int64_t modelId);
  std::optional<std::vector<std::int64_t>> membersOfFolder(std::int64_t modelId);
  std::optional<std::vector<std::int64_t>> membersOfEvent(std::int64_t modelId);
  std::optional<std::vector<std::int64_t>> membersOfPerson(std::int64_t modelId);
  std::optional<std::vector<std::int64_t>> membersOfKeyword(std::int64_t modelId);
  void keepListed(std::vector<std::int64_t>& photos, HiddenMembers hidden);

  LibraryDatabases& databases_;
  SmartAlbums& smartAlbums_;
  std::shared_ptr<const PhotoColumns> columns_;
};

}  // namespace moxtel
