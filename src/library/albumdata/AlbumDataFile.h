// Reads "AlbumData.xml": a property list of which only three lists are used. The file may have hundreds of
// megabytes of other contents; memory is bounded by what is kept. Any thread.
//
// XML property lists are read as a stream. Many such files have a few characters that XML does not allow, or
// values that make no sense: these are mended or left out. The binary form is read too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "plist/PropertyListTree.h"
#include "value/Value.h"

namespace moxtel {

// The keys of the top level that are kept; they and their contents, with the "KeyList" of album and roll
// entries as numbers, are a small part of a large file.
inline constexpr std::string_view kListOfAlbums = "List of Albums";
inline constexpr std::string_view kListOfRolls = "List of Rolls";
inline constexpr std::string_view kListOfFaces = "List of Faces";

struct AlbumDataLimits {
  PropertyListLimits kept{.depth = 64, .bytes = 256 << 20};
  std::size_t binaryFileBytes = 1 << 30;  // the binary form is read in one piece
};

// The photos of an album or roll (event) as the photo application last saved them.
struct SavedPhotoList {
  std::string uuid;                  // the entry's "GUID", or else its "ProjectUuid"
  std::vector<std::int64_t> photos;  // RKVersion.modelId, in the photo application's order; -1 for no number
};

// What a file holds, every collection mutable: a dictionary of the kept lists, as the file has them (a list
// may be a dictionary there). A file that could not be read to its end has the reason in `error`, for the
// user, and the lists that were complete until then.
struct AlbumDataContents {
  Value lists;
  std::vector<SavedPhotoList>
      photoLists;  // the "KeyList" or "KeyListString" of entries; the former is not in lists
  std::string error;
  std::string mended;   // what was mended or left out, for the user; empty for nothing
  bool wasRead = true;  // false: the file system or the memory failed, and another try may succeed
};

// Does not throw: a lack of memory counts as a file that cannot be read.
AlbumDataContents readAlbumDataFile(const std::string& path, const AlbumDataLimits& limits = {});
// The same from the bytes of a whole file. For tests.
AlbumDataContents parseAlbumData(std::string_view bytes, const AlbumDataLimits& limits = {});

}  // namespace moxtel
