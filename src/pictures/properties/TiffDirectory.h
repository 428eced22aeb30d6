// One directory of a TIFF structure (TIFF 6.0), for lookups by tag. One thread.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "pictures/properties/ByteSource.h"

namespace moxtel::properties {

class TiffDirectory final {
 public:
  // The first directory; empty for a file that is not a TIFF. Borrows the source.
  explicit TiffDirectory(ByteSource& file);

  // An element of a BYTE, SHORT or LONG tag; nothing if it is missing.
  std::optional<std::uint32_t> number(std::uint16_t tag, std::uint32_t index = 0);
  // All bytes of the tag's value, of any type; empty if it is missing.
  Bytes bytes(std::uint16_t tag);

 private:
  struct Entry {
    std::uint16_t tag = 0;
    std::uint16_t type = 0;
    std::uint32_t count = 0;
    std::uint64_t place = 0;  // offset of the entry's value field
  };
  std::uint32_t read(std::uint64_t place, std::size_t width);
  const Entry* find(std::uint16_t tag) const;
  std::uint64_t placeOf(const Entry& entry, std::uint64_t size);

  ByteSource& file_;
  bool littleEndian_ = false;
  std::vector<Entry> entries_;
};

}  // namespace moxtel::properties
