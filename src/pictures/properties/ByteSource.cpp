#include "pictures/properties/ByteSource.h"

#include <algorithm>

namespace moxtel::properties {
namespace {

// Reads ahead: chunk headers are read a few bytes at a time.
constexpr std::size_t kReadAhead = 1024;

}  // namespace

bool ByteSource::holds(std::uint64_t offset, std::size_t count) const {
  return offset >= windowAt_ && offset - windowAt_ <= window_.size() &&
         count <= window_.size() - (offset - windowAt_);
}

FileBytes ByteSource::at(std::uint64_t offset, std::size_t count) {
  if (count == 0 || count > kLargestPiece || offset > size_ || count > size_ - offset) return {};
  if (budget_ < count + kLook) {
    budget_ = 0;
    return {};
  }
  budget_ -= count + kLook;
  return file_ ? piece(offset, count) : bytes_.subspan(static_cast<std::size_t>(offset), count);
}

FileBytes ByteSource::piece(std::uint64_t offset, std::size_t count) {
  if (!holds(offset, count)) {
    window_.resize(
        static_cast<std::size_t>(std::min<std::uint64_t>(std::max(count, kReadAhead), size_ - offset)));
    windowAt_ = offset;
    window_.resize(readAt(*file_, offset, window_));
    if (!holds(offset, count)) return {};
  }
  return FileBytes(window_).subspan(static_cast<std::size_t>(offset - windowAt_), count);
}

std::optional<std::uint8_t> ByteSource::byteAt(std::uint64_t offset) {
  const FileBytes bytes = at(offset, 1);
  return bytes.empty() ? std::nullopt : std::optional(bytes[0]);
}

std::optional<std::uint16_t> ByteSource::shortAt(std::uint64_t offset) {
  const FileBytes bytes = at(offset, 2);
  return bytes.empty() ? std::nullopt : std::optional(static_cast<std::uint16_t>(bigEndian(bytes)));
}

std::optional<std::uint32_t> ByteSource::longAt(std::uint64_t offset) {
  const FileBytes bytes = at(offset, 4);
  return bytes.empty() ? std::nullopt : std::optional(bigEndian(bytes));
}

}  // namespace moxtel::properties
