// A look at a binary property list ("bplist00") without unpacking it: objects are found by number, each look
// is checked against the bounds. Borrows the bytes. Any thread.
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

// A big-endian number of 1 to 8 bytes.
inline std::uint64_t sizedNumber(const std::uint8_t* place, std::size_t width) noexcept {
  std::uint64_t number = 0;
  switch (width) {
    case 1:
      return *place;
    case 2:
      std::uint16_t two;
      std::memcpy(&two, place, 2);
      return __builtin_bswap16(two);
    case 4:
      std::uint32_t four;
      std::memcpy(&four, place, 4);
      return __builtin_bswap32(four);
    case 8:
      std::memcpy(&number, place, 8);
      return __builtin_bswap64(number);
    default:
      for (std::size_t i = 0; i < width; ++i) number = number << 8 | place[i];
      return number;
  }
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
  // Nothing when the trailer does not describe these bytes; `reason` then says why.
  static std::optional<BinaryPropertyList> open(std::span<const std::uint8_t> bytes, const char*& reason);

  std::uint64_t topNumber() const noexcept { return top_; }
  std::uint64_t objectCount() const noexcept { return count_; }
  std::size_t referenceWidth() const noexcept { return referenceWidth_; }
  std::size_t size() const noexcept { return bytes_.size(); }
  // Invalid for a number or an object that does not lie within the bytes.
  Object object(std::uint64_t number) const noexcept;
  // Shorter than object() for the kind that is looked at most. False for another kind.
  bool uid(std::uint64_t number, std::uint64_t& out) const noexcept {
    const std::uint8_t* place = placeOf(number);
    if (!place || *place >> 3 != 0x80 >> 3 || left(place) < std::size_t{2} + (*place & 7)) return false;
    out = sizedNumber(place + 1, (*place & 7u) + 1);
    return true;
  }
  // The number that an array's or dictionary's payload names at an index below its count.
  std::uint64_t reference(const std::uint8_t* payload, std::uint64_t index) const noexcept {
    return sizedNumber(payload + index * referenceWidth_, referenceWidth_);
  }

 private:
  static constexpr std::size_t kMagicSize = 8;

  // Where the object's marker stands, which is before objectsEnd_; null for none.
  const std::uint8_t* placeOf(std::uint64_t number) const noexcept {
    if (number >= count_) return nullptr;
    const std::uint64_t offset = sizedNumber(objectsEnd_ + number * offsetWidth_, offsetWidth_);
    const std::uint64_t end = static_cast<std::uint64_t>(objectsEnd_ - bytes_.data());
    return offset >= kMagicSize && offset < end ? bytes_.data() + offset : nullptr;
  }
  Object simple(std::uint8_t marker) const noexcept;
  bool readCount(const std::uint8_t*& place, std::uint64_t& count) const noexcept;
  Object counted(Kind kind, const std::uint8_t* place, std::uint64_t count, std::size_t unit) const noexcept;
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

}  // namespace moxtel
