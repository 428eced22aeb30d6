#include "pictures/properties/TiffDirectory.h"

#include <algorithm>

namespace moxtel::properties {
namespace {

constexpr std::uint64_t kEntrySize = 12;

// Bytes of one element; 0 for an unknown type.
std::size_t sizeOf(std::uint16_t type) {
  constexpr std::size_t kSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};
  return type < std::size(kSizes) ? kSizes[type] : 0;
}

}  // namespace

TiffDirectory::TiffDirectory(ByteSource& file) : file_(file) {
  littleEndian_ = file.byteAt(0) == 'I';
  const std::uint64_t place = read(4, 4);
  const std::uint32_t count = place == 0 ? 0 : read(place, 2);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint64_t at = place + 2 + i * kEntrySize;
    if (file.at(at, kEntrySize).empty()) break;
    entries_.push_back({static_cast<std::uint16_t>(read(at, 2)), static_cast<std::uint16_t>(read(at + 2, 2)),
                        read(at + 4, 4), at + 8});
  }
}

// 0 if the bytes are missing.
std::uint32_t TiffDirectory::read(std::uint64_t place, std::size_t width) {
  const FileBytes bytes = file_.at(place, width);
  return littleEndian_ ? littleEndian(bytes) : bigEndian(bytes);
}

const TiffDirectory::Entry* TiffDirectory::find(std::uint16_t tag) const {
  const auto found =
      std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) { return entry.tag == tag; });
  return found == entries_.end() ? nullptr : &*found;
}

// Values of up to four bytes are in the entry itself.
std::uint64_t TiffDirectory::placeOf(const Entry& entry, std::uint64_t size) {
  return size <= 4 ? entry.place : read(entry.place, 4);
}

std::optional<std::uint32_t> TiffDirectory::number(std::uint16_t tag, std::uint32_t index) {
  const Entry* entry = find(tag);
  const std::size_t width = entry ? sizeOf(entry->type) : 0;
  const bool isWhole = entry && (entry->type == 1 || entry->type == 3 || entry->type == 4);
  if (!isWhole || index >= entry->count) return std::nullopt;
  const std::uint64_t size = std::uint64_t{width} * entry->count;
  return read(placeOf(*entry, size) + std::uint64_t{width} * index, width);
}

Bytes TiffDirectory::bytes(std::uint16_t tag) {
  const Entry* entry = find(tag);
  if (!entry) return {};
  const std::uint64_t size = std::uint64_t{sizeOf(entry->type)} * entry->count;
  if (size > ByteSource::kLargestPiece) return {};
  return copyOf(file_.at(placeOf(*entry, size), static_cast<std::size_t>(size)));
}

}  // namespace moxtel::properties
