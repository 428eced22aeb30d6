// Arbitrary bytes as the legacy album file: the outcome is lists or a reason, within bounds, and the same
// however the bytes arrive.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "library/albumdata/AlbumDataFile.h"
#include "library/albumdata/AlbumDataXml.h"
#include "value/Description.h"

namespace {

using namespace moxtel;

void require(bool holds) {
  if (!holds) std::abort();
}

int depthOf(const Value& value) {
  int deepest = 0;
  for (const Value& item : value.array()) deepest = std::max(deepest, depthOf(item));
  for (const auto& entry : value.dictionary()) deepest = std::max(deepest, depthOf(entry.value));
  return deepest + 1;
}

void checkContents(const AlbumDataContents& contents, const AlbumDataLimits& limits) {
  require(contents.lists.isNil() == !contents.error.empty());
  require(depthOf(contents.lists) <= static_cast<int>(limits.depth) + 1);
  for (const auto& entry : contents.lists.dictionary()) {
    require(entry.key == kListOfAlbums || entry.key == kListOfRolls || entry.key == kListOfFaces);
    if (entry.key == kListOfFaces) continue;
    for (const Value& item : entry.value.array()) require(!item.dictionary().contains("KeyList"));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  AlbumDataLimits limits;
  limits.depth = 16;
  limits.keptBytes = 1 << 20;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const AlbumDataContents contents = parseAlbumData(bytes, limits);
  checkContents(contents, limits);
  if (bytes.starts_with("bplist")) return 0;
  AlbumDataXml pieces(limits);
  for (std::size_t i = 0; i < size && pieces.feed(bytes.substr(i, 7)); i += 7) {
  }
  const AlbumDataContents same = pieces.finish();
  // As texts: a real that is not a number equals nothing.
  require(describe(same.lists) == describe(contents.lists));
  require(same.error.empty() == contents.error.empty());
  return 0;
}
