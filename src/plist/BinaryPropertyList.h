// Random access to the objects of a binary property list ("bplist00") by their numbers, without unpacking it.
// Every access is checked against the bounds of the bytes. Borrows the bytes. Any thread.
//
// Layout: 8 bytes of magic and version; objects; a table with each object's offset; 32 bytes of trailer (6
// unused, width of offsets, width of references, count of objects, number of the top object, offset of the
// table). All numbers are big-endian.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>

namespace moxtel {

// A big-endian number of 1 to 8 bytes. Loads 8 bytes for every width: the caller guarantees that they can be
// read, because the 32 bytes of the trailer follow the number.
inline std::uint64_t sizedNumber(const std::uint8_t* place, std::size_t width) noexcept {
  std::uint64_t eight = 0;
  std::memcpy(&eight, place, sizeof eight);
  return __builtin_bswap64(eight) >> (64 - 8 * width);
}

class BinaryPropertyList final {
 public:
  enum class Kind : std::uint8_t {
    Invalid,
    Boolean,
    Integer,
    Real,
    Date,
    Data,
    Ascii,
    Utf16,
    Uid,
    Array,
    Dictionary
  };
  // The payload lies within the bytes. Its length: count bytes for Integer (1, 2, 4, 8, 16), Real (4, 8),
  // Date (8), Data, Ascii and Uid (1 to 8); 2 * count bytes for Utf16; count references for Array, 2 * count
  // for Dictionary (keys, then values). Boolean: count is 0 or 1, no payload.
  struct Object {
    Kind kind = Kind::Invalid;
    const std::uint8_t* payload = nullptr;
    std::uint64_t count = 0;
  };

  static bool hasMagic(std::span<const std::uint8_t> bytes) noexcept;
  // Nothing when the trailer does not fit these bytes; `reason` then says why.
  static std::optional<BinaryPropertyList> open(std::span<const std::uint8_t> bytes, const char*& reason);

  std::uint64_t topNumber() const noexcept { return top_; }
  std::uint64_t objectCount() const noexcept { return count_; }
  std::size_t referenceWidth() const noexcept { return referenceWidth_; }
  std::size_t size() const noexcept { return bytes_.size(); }
  // Invalid for a number or an object that does not lie within the bytes.
  Object object(std::uint64_t number) const noexcept;
  // As object(), inlined: for the one caller that reads nearly every object.
  [[gnu::always_inline]] Object objectHere(std::uint64_t number) const noexcept;
  // The value of a UID, the most frequent kind in keyed archives: faster than object(). False for another
  // kind.
  [[gnu::always_inline]] bool uid(std::uint64_t number, std::uint64_t& out) const noexcept {
    const std::uint8_t* place = placeOf(number);
    if (!place || *place >> 3 != 0x80 >> 3 || left(place) < std::size_t{2} + (*place & 7)) return false;
    out = sizedNumber(place + 1, (*place & 7u) + 1);
    return true;
  }
  // The object number at an index in the payload of an array or dictionary; the index is below its count.
  std::uint64_t reference(const std::uint8_t* payload, std::uint64_t index) const noexcept {
    return sizedNumber(payload + index * referenceWidth_, referenceWidth_);
  }

 private:
  static constexpr std::size_t kMagicSize = 8;

  // The address of the object's marker, which is before objectsEnd_; null if there is no such object.
  const std::uint8_t* placeOf(std::uint64_t number) const noexcept {
    if (number >= count_) return nullptr;
    const std::uint64_t offset = sizedNumber(objectsEnd_ + number * offsetWidth_, offsetWidth_);
    const std::uint64_t end = static_cast<std::uint64_t>(objectsEnd_ - bytes_.data());
    return offset >= kMagicSize && offset < end ? bytes_.data() + offset : nullptr;
  }
  // Objects of a fixed size, and objects whose marker contains their count.
  Object fixed(Kind kind, const std::uint8_t* place, std::size_t size) const noexcept {
    return size <= left(place) ? Object{kind, place, size} : Object{};
  }
  Object counted(Kind kind, const std::uint8_t* place, unsigned low, std::size_t unit) const noexcept {
    std::uint64_t count = low;
    if (low == 15 && !readCount(place, count)) return {};
    // The count first: the product of a count within the bytes cannot overflow.
    return count <= left(place) && count * unit <= left(place) ? Object{kind, place, count} : Object{};
  }
  bool readCount(const std::uint8_t*& place, std::uint64_t& count) const noexcept;
  std::size_t left(const std::uint8_t* place) const noexcept {
    return static_cast<std::size_t>(objectsEnd_ - place);
  }

  std::span<const std::uint8_t> bytes_;
  const std::uint8_t* objectsEnd_ = nullptr;  // where the offset table begins
  std::uint64_t count_ = 0;
  std::uint64_t top_ = 0;
  std::size_t offsetWidth_ = 0;
  std::size_t referenceWidth_ = 0;
};

inline BinaryPropertyList::Object BinaryPropertyList::objectHere(std::uint64_t number) const noexcept {
  const std::uint8_t* place = placeOf(number);
  if (!place) return {};
  const std::uint8_t marker = *place++;
  const unsigned low = marker & 15u;
  switch (marker >> 4) {
    case 0x0:
      return low == 8 || low == 9 ? Object{Kind::Boolean, nullptr, low - 8} : Object{};
    case 0x1:
      return low <= 4 ? fixed(Kind::Integer, place, std::size_t{1} << low) : Object{};
    case 0x2:
      return low == 2 || low == 3 ? fixed(Kind::Real, place, std::size_t{1} << low) : Object{};
    case 0x3:
      return low == 3 ? fixed(Kind::Date, place, 8) : Object{};
    case 0x4:
      return counted(Kind::Data, place, low, 1);
    case 0x5:
      return counted(Kind::Ascii, place, low, 1);
    case 0x6:
      return counted(Kind::Utf16, place, low, 2);
    case 0x8:
      return low <= 7 ? fixed(Kind::Uid, place, low + 1) : Object{};
    case 0xA:
      return counted(Kind::Array, place, low, referenceWidth_);
    case 0xD:
      return counted(Kind::Dictionary, place, low, 2 * referenceWidth_);
    default:
      return {};
  }
}

}  // namespace moxtel
