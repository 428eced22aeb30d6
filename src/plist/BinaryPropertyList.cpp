#include "plist/BinaryPropertyList.h"

namespace moxtel {

namespace {

constexpr std::size_t kTrailerSize = 32;

bool isWidth(std::size_t width) { return width >= 1 && width <= 8; }

// Whether numbers of that many bytes can name every number below the bound.
bool canName(std::size_t width, std::uint64_t bound) { return width >= 8 || (bound - 1) >> (8 * width) == 0; }

}  // namespace

bool BinaryPropertyList::hasMagic(std::span<const std::uint8_t> bytes) noexcept {
  return bytes.size() >= kMagicSize && std::memcmp(bytes.data(), "bplist0", kMagicSize - 1) == 0;
}

std::optional<BinaryPropertyList> BinaryPropertyList::open(std::span<const std::uint8_t> bytes,
                                                           const char*& reason) {
  reason = "the property list is cut short";
  if (!hasMagic(bytes) || bytes.size() < kMagicSize + kTrailerSize + 2) return std::nullopt;
  const std::uint8_t* trailer = bytes.data() + bytes.size() - kTrailerSize;
  BinaryPropertyList list;
  list.bytes_ = bytes;
  list.offsetWidth_ = trailer[6];
  list.referenceWidth_ = trailer[7];
  list.count_ = sizedNumber(trailer + 8, 8);
  list.top_ = sizedNumber(trailer + 16, 8);
  const std::uint64_t table = sizedNumber(trailer + 24, 8);

  reason = "the property list's trailer is damaged";
  if (!isWidth(list.offsetWidth_) || !isWidth(list.referenceWidth_)) return std::nullopt;
  if (table <= kMagicSize || table > bytes.size() - kTrailerSize) return std::nullopt;
  // An object takes a byte at least; and the table ends where the trailer begins.
  if (list.count_ == 0 || list.count_ > table - kMagicSize) return std::nullopt;
  if (list.count_ * list.offsetWidth_ != bytes.size() - kTrailerSize - table) return std::nullopt;
  if (list.top_ >= list.count_) return std::nullopt;
  if (!canName(list.offsetWidth_, table) || !canName(list.referenceWidth_, list.count_)) return std::nullopt;
  list.objectsEnd_ = bytes.data() + table;
  return list;
}

BinaryPropertyList::Object BinaryPropertyList::object(std::uint64_t number) const noexcept {
  return objectHere(number);
}

// A count that the marker has no room for follows as an integer object.
bool BinaryPropertyList::readCount(const std::uint8_t*& place, std::uint64_t& count) const noexcept {
  if (left(place) < 1 || *place >> 4 != 1 || (*place & 15) > 3) return false;
  const std::size_t width = std::size_t{1} << (*place++ & 15);
  if (left(place) < width) return false;
  count = sizedNumber(place, width);
  place += width;
  return true;
}

}  // namespace moxtel
