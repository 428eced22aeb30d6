// The lists of a library for the page and for exporting: albums in their folders, events, people, keywords.
// On the thread of the databases.
//
// Lists are built on the first call and kept until dropCaches(). Counts are those of photos that are neither
// hidden nor rejected nor in the trash, key photos too unless a user chose another. References are valid
// until dropCaches().
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "library/facts/KeywordTree.h"
#include "value/Value.h"

namespace moxtel {

class AlbumMembership;
class LibraryDatabases;
struct PhotoColumns;

// A list of photos, by the kind and the model id that name it.
struct PhotoList {
  enum class Kind : std::uint8_t { Album, Folder, Event, Person, Keyword };
  Kind kind = Kind::Album;
  // RKAlbum.modelId, RKFolder.modelId for folders and events, RKFaceName.modelId, RKKeyword.modelId
  std::int64_t modelId = 0;
  friend bool operator==(const PhotoList&, const PhotoList&) = default;
};

struct LibraryContainer {
  static constexpr std::size_t kNoParent = static_cast<std::size_t>(-1);
  // Other: a book, a slideshow or the like, by RKAlbum.albumType.
  enum class Kind : std::uint8_t { Album, SmartAlbum, Other, Folder, Event };
  Kind kind = Kind::Album;
  std::int64_t modelId = 0;
  std::string uuid;
  std::string name;  // empty: an event that is named by its date
  std::string note;
  std::int32_t albumType = 0;      // of Other
  std::size_t parent = kNoParent;  // index of an earlier container, a folder or an event
  bool isAmongEvents = false;      // below the root of the events and projects, not of the albums
  std::size_t count = 0;
  std::int64_t keyPhoto = 0;  // model id; 0: none
  // Wall clock, seconds since 1970-01-01 as if UTC. Of events and albums with dated photos.
  std::optional<std::int64_t> firstDate;
  std::optional<std::int64_t> lastDate;

  PhotoList list() const {
    return {kind == Kind::Folder  ? PhotoList::Kind::Folder
            : kind == Kind::Event ? PhotoList::Kind::Event
                                  : PhotoList::Kind::Album,
            modelId};
  }
};

struct LibraryPerson {
  std::int64_t modelId = 0;
  std::int64_t faceKey = 0;
  std::string uuid;
  std::string name;
  std::size_t count = 0;
  std::int64_t keyPhoto = 0;   // model id; 0: none
  std::int64_t faceIndex = 0;  // which face on it
};

class LibraryLists final {
 public:
  static constexpr std::size_t kMostContainers = 200'000;

  // Borrows both.
  LibraryLists(LibraryDatabases& databases, AlbumMembership& membership);

  // Albums, folders and events that a user made, in the user's order, parents before their contents. What is
  // in the trash or in no folder that exists is left out or at the top, respectively.
  const std::vector<LibraryContainer>& containers();
  // Named persons, by name.
  const std::vector<LibraryPerson>& people();
  // With counts.
  const KeywordTree& keywords();
  // The albums and events that a photo is in, as indexes into containers().
  std::vector<std::size_t> containersOf(std::int64_t photo);

  void dropCaches();

 private:
  void describe(LibraryPerson& person, const Value& keyPhoto);

  LibraryDatabases& databases_;
  AlbumMembership& membership_;
  std::optional<std::vector<LibraryContainer>> containers_;
  std::optional<std::vector<LibraryPerson>> people_;
  std::optional<KeywordTree> keywords_;
};

}  // namespace moxtel
