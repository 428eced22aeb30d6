// Reading "AlbumData.xml": a property list of which only the three lists are of use, in a file that may have
// hundreds of megabytes of something else. Memory is bounded by what is kept. Any thread.
//
// XML property lists are read as a stream; entities of the file's own are an error and nothing is ever
// fetched. The binary form is read too.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "value/Value.h"

namespace moxtel {

// The keys of the top level that are kept; without the others, and without the "KeyList" of album and roll
// entries, next to nothing of a large file is left.
inline constexpr std::string_view kListOfAlbums = "List of Albums";
inline constexpr std::string_view kListOfRolls = "List of Rolls";
inline constexpr std::string_view kListOfFaces = "List of Faces";

struct AlbumDataLimits {
  std::size_t depth = 64;                 // collections inside each other, of what is kept
  std::size_t keptBytes = 256 << 20;      // of the values kept, about
  std::size_t binaryFileBytes = 1 << 30;  // the binary form is read in one piece
};

// What a file holds, every collection mutable: a dictionary of the kept lists, as the file has them (a list
// may be a dictionary there); nil with the reason in `error`, for the user, when it could not be read to its
// end.
struct AlbumDataContents {
  Value lists;
  std::string error;
  bool wasRead = true;  // false: the file system or the memory failed, and another try may go well
};

// Throws nothing: a file for which there is no memory is one that cannot be read.
AlbumDataContents readAlbumDataFile(const std::string& path, const AlbumDataLimits& limits = {});
// The same from bytes that are all there. For tests.
AlbumDataContents parseAlbumData(std::string_view bytes, const AlbumDataLimits& limits = {});

}  // namespace moxtel
