// Random access to the bytes of a picture file, read on demand.
//
// Work is bounded: each read costs its bytes and kLook more from one budget; once that is used up, every read
// fails as at the end of the file. So no reader needs its own bound on loops in a malicious file. One thread.
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
  static constexpr std::size_t kBudget = std::size_t{96} << 20;        // bytes; each read costs kLook more
  static constexpr std::size_t kLook = 32;

  // Borrow their argument.
  explicit ByteSource(const OpenFile& file) : file_(&file), size_(file.size) {}
  explicit ByteSource(FileBytes bytes) : bytes_(bytes), size_(bytes.size()) {}

  std::uint64_t size() const { return size_; }
  // count bytes from the offset on, valid until the next read; empty unless all of them exist.
  FileBytes at(std::uint64_t offset, std::size_t count);
  // Big-endian numbers; nothing if a byte is missing.
  std::optional<std::uint8_t> byteAt(std::uint64_t offset);
  std::optional<std::uint16_t> shortAt(std::uint64_t offset);
  std::optional<std::uint32_t> longAt(std::uint64_t offset);

 private:
  FileBytes piece(std::uint64_t offset, std::size_t count);
  bool holds(std::uint64_t offset, std::size_t count) const;

  const OpenFile* file_ = nullptr;
  FileBytes bytes_;  // if there is no file
  Bytes window_;
  std::uint64_t windowAt_ = 0;
  std::uint64_t size_ = 0;
  std::size_t budget_ = kBudget;
};

// Numbers of all the bytes, at most four.
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
