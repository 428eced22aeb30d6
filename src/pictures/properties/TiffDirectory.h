// One directory of a TIFF structure, looked up by tag without being unpacked (TIFF 6.0). One thread.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "pictures/properties/ByteSource.h"

namespace moxtel::properties {

class TiffDirectory final {
 public:
  // The first directory; one without entries for a file that is none. Borrows the source.
  explicit TiffDirectory(ByteSource& file);

  // An element of a BYTE, SHORT or LONG tag; nothing when it is not there.
  std::optional<std::uint32_t> number(std::uint16_t tag, std::uint32_t index = 0);
  // All bytes of the tag's value, of any type; none when it is not there.
  Bytes bytes(std::uint16_t tag);

 private:
  struct Entry {
    std::uint16_t tag = 0;
    std::uint16_t type = 0;
    std::uint32_t count = 0;
    std::uint64_t place = 0;  // of the entry's value field
  };
  std::uint32_t read(std::uint64_t place, std::size_t width);
  const Entry* find(std::uint16_t tag) const;
  std::uint64_t placeOf(const Entry& entry, std::uint64_t size);

  ByteSource& file_;
  bool littleEndian_ = false;
  std::vector<Entry> entries_;
};

}  // namespace moxtel::properties
