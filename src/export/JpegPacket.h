// The XMP packet of a JPEG file. Any thread.
//
// Exif 2.3, 4.5.4 (the segments); XMP Specification Part 3, 1.1.3 (the packet in APP1). Everything but the
// packet's segment stays as it is, byte by byte.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "value/Value.h"

namespace moxtel {

class JpegPacket final {
 public:
  // Nothing if the bytes are no JPEG file with a picture.
  static std::optional<JpegPacket> find(std::span<const std::uint8_t> file);

  // Of the file in which it was found. Empty if it has none.
  std::string packet(std::span<const std::uint8_t> file) const;
  // The file with this packet; nothing if it is empty or too large for a segment.
  std::optional<Bytes> withPacket(std::span<const std::uint8_t> file, std::string_view packet) const;

 private:
  JpegPacket() = default;
  std::size_t at_ = 0;    // of the segment, or where it belongs
  std::size_t size_ = 0;  // of the segment with its marker; 0: there is none
};

}  // namespace moxtel
