#include "pictures/properties/Iim.h"

#include "pictures/properties/TextEncodings.h"

namespace moxtel::properties {
namespace {

constexpr std::uint8_t kMarker = 0x1C;
constexpr std::uint8_t kApplicationRecord = 2;

// The length of the data, preceded by the length of the length if it is extended; false if one exceeds the
// block.
bool readLength(FileBytes block, std::size_t& head, std::size_t& length) {
  head = 5;
  length = bigEndian(block.subspan(3, 2));
  if (length > 0x7FFF) {  // extended: the low bits are the number of length bytes
    const std::size_t width = length & 0x7FFF;
    if (width > 4 || block.size() < 5 + width) return false;
    head = 5 + width;
    length = bigEndian(block.subspan(5, width));
  }
  return length <= block.size() - head;
}

}  // namespace

std::vector<IimSet> iimSets(FileBytes block) {
  std::vector<IimSet> sets;
  while (block.size() >= 5 && block[0] == kMarker) {
    std::size_t head = 0;
    std::size_t length = 0;
    if (!readLength(block, head, length)) break;
    if (block[1] == kApplicationRecord)
      sets.push_back({block[2], utf8OrLatin1(untilNul(textOf(block.subspan(head, length))))});
    block = block.subspan(head + length);
  }
  return sets;
}

}  // namespace moxtel::properties
