// What lists of photos are made of, for all photos of a library at once: 40 bytes a photo. A plain value,
// immutable once it is read; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

namespace moxtel {

class LibraryDatabases;

// All columns have one entry for each photo, by ascending model id. Photos in the trash are left out; hidden
// ones, and those that are in albums only, are included and marked.
struct PhotoColumns {
  static constexpr std::int64_t kNoDate = std::numeric_limits<std::int64_t>::min();
  static constexpr std::uint32_t kNoEvent = std::numeric_limits<std::uint32_t>::max();

  // In flags.
  static constexpr std::uint16_t kMovie = 1;
  static constexpr std::uint16_t kFlagged = 2;
  static constexpr std::uint16_t kRaw = 4;
  static constexpr std::uint16_t kEdited = 8;  // has edits that are switched on
  static constexpr std::uint16_t kLive = 16;
  static constexpr std::uint16_t kReferenced = 32;  // the original is not in the library
  static constexpr std::uint16_t kHidden = 64;
  static constexpr std::uint16_t kOnlyInAlbums = 128;  // shared by somebody: in no other list, in no event
  static constexpr int kRotationShift = 14;            // from this bit on: quarter turns clockwise, 0 to 3

  std::vector<std::int64_t> modelId;
  std::vector<std::int64_t> masterId;
  std::vector<std::int64_t> date;    // wall clock, seconds since 1970-01-01 as if UTC; kNoDate
  std::vector<std::uint32_t> width;  // pixels as displayed; 0 unknown
  std::vector<std::uint32_t> height;
  std::vector<std::uint32_t> event;  // index into events; kNoEvent
  std::vector<std::uint16_t> flags;
  std::vector<std::int8_t> rating;      // -1 rejected, 0 none, 1 to 5
  std::vector<std::int8_t> colorLabel;  // -1 none

  std::vector<std::int64_t> events;  // RKFolder.modelId

  std::size_t size() const { return modelId.size(); }
  // Degrees.
  int rotation(std::size_t index) const { return (flags[index] >> kRotationShift) * 90; }
  bool has(std::size_t index, std::uint16_t flag) const { return (flags[index] & flag) != 0; }
  // Whether lists that it belongs to show it without being asked for hidden or rejected photos.
  bool isShown(std::size_t index) const { return !has(index, kHidden) && rating[index] >= 0; }
  // The entry of a photo.
  std::optional<std::size_t> find(std::int64_t id) const;
};

// Reads all photos with one statement, and few others for what is rare. Nothing when the library cannot be
// read. On the thread of the databases.
std::optional<PhotoColumns> readPhotoColumns(LibraryDatabases& databases);

}  // namespace moxtel
