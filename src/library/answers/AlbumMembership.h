// Which photos are in a list, and in which albums a photo is. On the thread of the databases.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "library/FolderPhotos.h"
#include "library/answers/LibraryLists.h"
#include "library/facts/PhotoColumns.h"

namespace moxtel {

class LibraryDatabases;
class SmartAlbums;

class AlbumMembership final {
 public:
  // Borrows both. beforeSmartAlbums is called each time before the members of a smart album are asked for.
  AlbumMembership(
      LibraryDatabases& databases, SmartAlbums& smartAlbums, std::function<void()> beforeSmartAlbums = [] {});
  ~AlbumMembership();
  AlbumMembership(const AlbumMembership&) = delete;
  AlbumMembership& operator=(const AlbumMembership&) = delete;

  // All photos, read once and kept until dropCaches(); a holder keeps what it has. Empty when the library
  // cannot be read; then it is tried again the next time.
  std::shared_ptr<const PhotoColumns> columns();
  // Without counts, key photos and dates; see LibraryLists, which adds them. Valid until dropCaches().
  const std::vector<LibraryContainer>& containers();
  const KeywordTree& keywords();

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
  std::vector<std::int64_t> membersOfSmartAlbum(const Value& uuid);
  std::vector<std::int64_t> photosOfEvent(std::int64_t modelId);
  const std::vector<std::int64_t>& sortedMembersOfSmart(const LibraryContainer& album);
  void keepListed(std::vector<std::int64_t>& photos, std::uint16_t leftOut);

  LibraryDatabases& databases_;
  SmartAlbums& smartAlbums_;
  const std::function<void()> beforeSmartAlbums_;
  std::shared_ptr<const PhotoColumns> columns_;
  std::optional<std::vector<LibraryContainer>> containers_;
  std::optional<KeywordTree> keywords_;
  std::map<std::int64_t, std::vector<std::int64_t>> smartMembers_;  // ascending, by the album's model id
  std::size_t keptMembers_ = 0;
};

}  // namespace moxtel
