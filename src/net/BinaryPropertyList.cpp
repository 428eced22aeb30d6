#include "net/BinaryPropertyList.h"

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
  const std::uint8_t* place = placeOf(number);
  if (!place) return {};
  const std::uint8_t marker = *place++;
  const unsigned low = marker & 15u;
  std::uint64_t count = low;
  switch (marker >> 4) {
    case 0x0:
      return simple(marker);
    case 0x1:
      return low > 4 ? Object{} : counted(Kind::Integer, place, 1u << low, 1);
    case 0x2:
      return low != 2 && low != 3 ? Object{} : counted(Kind::Real, place, 1u << low, 1);
    case 0x3:
      return low != 3 ? Object{} : counted(Kind::Date, place, 8, 1);
    case 0x4:
      return readCount(place, count) ? counted(Kind::Data, place, count, 1) : Object{};
    case 0x5:
      return readCount(place, count) ? counted(Kind::Ascii, place, count, 1) : Object{};
    case 0x6:
      return readCount(place, count) ? counted(Kind::Utf16, place, count, 2) : Object{};
    case 0x8:
      return low > 7 ? Object{} : counted(Kind::Uid, place, low + 1, 1);
    case 0xA:
      return readCount(place, count) ? counted(Kind::Array, place, count, referenceWidth_) : Object{};
    case 0xD:
      return readCount(place, count) ? counted(Kind::Dictionary, place, count, 2 * referenceWidth_)
                                     : Object{};
    default:
      return {};
  }
}

BinaryPropertyList::Object BinaryPropertyList::simple(std::uint8_t marker) const noexcept {
  if (marker != 0x08 && marker != 0x09) return {};
  return {Kind::Boolean, nullptr, static_cast<std::uint64_t>(marker - 0x08)};
}

// 15 in the marker: the count follows as an integer object.
bool BinaryPropertyList::readCount(const std::uint8_t*& place, std::uint64_t& count) const noexcept {
  if (count != 15) return true;
  if (left(place) < 1 || *place >> 4 != 1 || (*place & 15) > 3) return false;
  const std::size_t width = std::size_t{1} << (*place++ & 15);
  if (left(place) < width) return false;
  count = sizedNumber(place, width);
  place += width;
  return true;
}

BinaryPropertyList::Object BinaryPropertyList::counted(Kind kind, const std::uint8_t* place,
                                                       std::uint64_t count, std::size_t unit) const noexcept {
  if (count > left(place) / unit) return {};
  return {kind, place, count};
}

}  // namespace moxtel
