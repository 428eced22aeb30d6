// Reads arbitrary bytes as the legacy album file. The result is within the limits, has a reason if reading
// ended early, and does not depend on how the bytes are split.
#include <algorithm>
#include <cstdint>
#include <string_view>

#include "fuzz/FuzzInput.h"
#include "library/albumdata/AlbumDataFile.h"
#include "library/albumdata/AlbumDataTree.h"
#include "plist/XmlMender.h"
#include "plist/XmlPropertyListReader.h"
#include "value/Description.h"

namespace {

using namespace moxtel;
using fuzz::require;

int depthOf(const Value& value) {
  int deepest = 0;
  for (const Value& item : value.array()) deepest = std::max(deepest, depthOf(item));
  for (const auto& entry : value.dictionary()) deepest = std::max(deepest, depthOf(entry.value));
  return deepest + 1;
}

// No list is larger than the limit, and none has an entry that a file cannot have.
void checkPhotoLists(const AlbumDataContents& contents, const AlbumDataLimits& limits) {
  std::size_t photos = 0;
  for (const SavedPhotoList& list : contents.photoLists) photos += list.photos.size();
  require(photos * sizeof(std::int64_t) <= 2 * limits.kept.bytes);
}

void checkContents(const AlbumDataContents& contents, const AlbumDataLimits& limits) {
  require(contents.lists.isDictionary());
  checkPhotoLists(contents, limits);
  require(depthOf(contents.lists) <= static_cast<int>(limits.kept.depth) + 1);
  for (const auto& entry : contents.lists.dictionary()) {
    require(entry.key == kListOfAlbums || entry.key == kListOfRolls || entry.key == kListOfFaces);
    if (entry.key == kListOfFaces) continue;
    for (const Value& item : entry.value.array()) require(!item.dictionary().contains("KeyList"));
  }
}

// The value in mended XML, as a text, because NaN does not equal itself.
std::string mendedLists(std::string_view bytes, std::size_t piece, const AlbumDataLimits& limits) {
  AlbumDataTree tree(limits.kept);
  XmlPropertyListReader reader(tree, Strictness::Lenient);
  XmlMender mender;
  bool goesOn = true;
  for (; goesOn && !bytes.empty(); bytes.remove_prefix(std::min(piece, bytes.size()))) {
    std::string mended;
    mender.feed(bytes.substr(0, piece), mended);
    goesOn = reader.feed(mended);
  }
  std::string end;
  if (goesOn) mender.finish(end);
  const bool whole = goesOn && reader.feed(end) && reader.finish();
  return (whole ? "whole " : "broken ") + describe(tree.takeBeginning());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  AlbumDataLimits limits;
  limits.kept = {.depth = 16, .bytes = 1 << 20};
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  checkContents(parseAlbumData(bytes, limits), limits);
  if (bytes.starts_with("bplist")) return 0;
  require(mendedLists(bytes, 7, limits) == mendedLists(bytes, size + 1, limits));
  return 0;
}
