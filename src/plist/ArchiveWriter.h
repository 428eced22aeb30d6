// The bytes of a growing binary property list, in chunks that are never moved or copied again.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

#include "plist/KeyedArchive.h"

namespace moxtel {

template <class Int>
Int bigEndian(Int value) noexcept {
  if constexpr (sizeof(Int) == 2) return __builtin_bswap16(value);
  if constexpr (sizeof(Int) == 4) return __builtin_bswap32(value);
  if constexpr (sizeof(Int) == 8) return __builtin_bswap64(value);
  return value;
}

// The bytes that hold the number in a property list: 1, 2, 4 or 8, the only widths that the platform writes.
inline int widthOf(std::uint64_t number) noexcept {
  return number <= 0xFF ? 1 : number <= 0xFFFF ? 2 : number <= 0xFFFFFFFF ? 4 : 8;
}

// Writes the low bytes of a number, and returns the place after them.
inline std::uint8_t* putSized(std::uint8_t* place, std::uint64_t number, int width) noexcept {
  const std::uint64_t swapped = bigEndian(number << (64 - 8 * width));
  std::memcpy(place, &swapped, static_cast<std::size_t>(width));
  return place + width;
}

class ArchiveWriter final {
 public:
  // Longest head of an object: marker, marker of the count, eight bytes.
  static constexpr std::size_t kLongestHead = 10;

  ArchiveWriter() = default;
  ArchiveWriter(const ArchiveWriter&) = delete;
  ArchiveWriter& operator=(const ArchiveWriter&) = delete;

  // Bytes written so far: the offset of what comes next.
  std::uint64_t offset() const noexcept { return sealed_ + static_cast<std::uint64_t>(next_ - pieceStart_); }

  // Contiguous room for that many bytes; written() then takes what was used of it.
  std::uint8_t* room(std::size_t count) {
    if (!hasRoom(count)) startChunk(count);
    return next_;
  }
  // Whether that much can be written without a new chunk.
  bool hasRoom(std::size_t count) const noexcept { return count <= static_cast<std::size_t>(end_ - next_); }
  void written(std::uint8_t* end) noexcept { next_ = end; }

  std::uint8_t* next() noexcept { return next_; }
  // Drops the last bytes written, no more than since the last new chunk. They stay readable until the next
  // write.
  void takeBack(std::size_t count) noexcept { next_ -= count; }
  // What was written from an offset on, up to the end of its chunk.
  std::string_view writtenAt(std::uint64_t offset) const noexcept;

  void byte(std::uint8_t value) {
    *room(1) = value;
    ++next_;
  }
  void bytes(std::string_view text);
  // An object's marker and count; a count below 15 is in the low half of the marker.
  static std::uint8_t* putHead(std::uint8_t* place, int kind, std::uint64_t count) noexcept {
    if (count >= 15) return putLongHead(place, kind, count);
    *place = static_cast<std::uint8_t>(kind << 4 | static_cast<int>(count));
    return place + 1;
  }
  void integer(std::int64_t value);
  // A number above 2^63 - 1: sixteen bytes, because eight are signed.
  void unsignedBeyondSigned(std::uint64_t value);
  void real(double value);
  // A text in ASCII where it is, else in UTF-16.
  void string(std::string_view text);
  void date(Date value);
  void uid(std::uint64_t index);
  // Large data is not copied: the pieces keep it alive.
  void data(const Value& data);
  void copiedData(const Bytes& bytes);
  // Data of `size` bytes that are not written here: they count in the offsets, but are in no piece.
  void absentData(std::uint64_t size);
  // Where the absent data begins.
  std::uint64_t absentDataOffset() const noexcept { return absentOffset_; }
  // The last 32 bytes; the table of offsets was begun at `table`.
  void trailer(std::uint64_t table, int referenceWidth, std::uint64_t objects, std::uint64_t top);

  // What was written.
  ArchivePieces finish();

 private:
  // Below the size from which the C library requests each allocation from the system: chunks reuse the memory
  // of a root that was freed.
  static constexpr std::size_t kLargestChunk = std::size_t{64} << 10;

  static std::uint8_t* putLongHead(std::uint8_t* place, int kind, std::uint64_t count) noexcept;
  void startChunk(std::size_t atLeast);
  void seal(std::span<const std::uint8_t> piece);
  void sealPiece();
  void utf16(std::string_view text);

  ArchivePieces out_;
  std::uint8_t* pieceStart_ = nullptr;
  std::uint8_t* next_ = nullptr;
  std::uint8_t* end_ = nullptr;
  std::size_t chunkSize_ = 2048;
  std::vector<std::uint64_t> pieceOffsets_;  // of the pieces in out_
  std::uint64_t sealed_ = 0;
  std::uint64_t absentOffset_ = 0;
  std::uint64_t absentSize_ = 0;
};

}  // namespace moxtel
