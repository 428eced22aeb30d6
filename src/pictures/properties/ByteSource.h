// A picture file as the readers of properties see it: any stretch of its bytes, read only when asked for.
//
// Work is bounded: what is read altogether, and the number of looks, come out of one budget; when that is
// used up the file seems to end. So no reader needs a bound of its own on how often it goes round, however
// its file lies. One thread.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "platform/files/FileReader.h"
#include "value/Value.h"

namespace moxtel::properties {

using FileBytes = std::span<const std::uint8_t>;

class ByteSource final {
 public:
  static constexpr std::size_t kLargestPiece = std::size_t{16} << 20;  // bytes
  static constexpr std::size_t kBudget = std::size_t{96} << 20;        // bytes; a look costs kLook more
  static constexpr std::size_t kLook = 32;

  // Borrow what they are made of.
  explicit ByteSource(const OpenFile& file) : file_(&file), size_(file.size) {}
  explicit ByteSource(FileBytes bytes) : bytes_(bytes), size_(bytes.size()) {}

  std::uint64_t size() const { return size_; }
  // So many bytes from there on, valid until the next look; empty unless all of them are there.
  FileBytes at(std::uint64_t offset, std::size_t count);
  // Numbers of the width, most significant byte first; nothing unless they are there.
  std::optional<std::uint8_t> byteAt(std::uint64_t offset);
  std::optional<std::uint16_t> shortAt(std::uint64_t offset);
  std::optional<std::uint32_t> longAt(std::uint64_t offset);

 private:
  FileBytes piece(std::uint64_t offset, std::size_t count);
  bool holds(std::uint64_t offset, std::size_t count) const;

  const OpenFile* file_ = nullptr;
  FileBytes bytes_;  // when there is no file
  Bytes window_;
  std::uint64_t windowAt_ = 0;
  std::uint64_t size_ = 0;
  std::size_t budget_ = kBudget;
};

// Big- and little-endian numbers at the start of bytes that the caller has counted.
inline std::uint32_t bigEndian(FileBytes bytes) {
  std::uint32_t number = 0;
  for (const std::uint8_t byte : bytes) number = number << 8 | byte;
  return number;
}
inline std::uint32_t littleEndian(FileBytes bytes) {
  std::uint32_t number = 0;
  for (std::size_t i = bytes.size(); i-- > 0;) number = number << 8 | bytes[i];
  return number;
}

inline std::string_view textOf(FileBytes bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}
inline FileBytes bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}
inline Bytes copyOf(FileBytes bytes) { return Bytes(bytes.begin(), bytes.end()); }

}  // namespace moxtel::properties
