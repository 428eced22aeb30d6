#include "export/JpegPacket.h"

#include <algorithm>

namespace moxtel {

namespace {

constexpr std::string_view kName("http://ns.adobe.com/xap/1.0/\0", 29);
constexpr std::size_t kHead = 4;  // the marker and the length
constexpr std::uint8_t kApp0 = 0xE0, kApp1 = 0xE1, kStartOfScan = 0xDA, kEndOfImage = 0xD9;

std::string_view textOf(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

bool isExif(std::string_view content) { return content.starts_with(std::string_view("Exif\0", 5)); }

}  // namespace

std::optional<JpegPacket> JpegPacket::find(std::span<const std::uint8_t> file) {
  if (file.size() < 4 || file[0] != 0xFF || file[1] != 0xD8) return std::nullopt;
  JpegPacket found;
  found.at_ = 2;
  for (std::size_t at = 2; at + kHead <= file.size();) {
    if (file[at] != 0xFF) return std::nullopt;
    const std::uint8_t marker = file[at + 1];
    if (marker == 0xFF) {
      ++at;
      continue;
    }
    if (marker == kStartOfScan) return found;
    if (marker == kEndOfImage) return std::nullopt;
    const std::size_t size = 2 + (std::size_t{file[at + 2]} << 8 | file[at + 3]);
    if (size < kHead || size > file.size() - at) return std::nullopt;
    const std::string_view content = textOf(file.subspan(at + kHead, size - kHead));
    if (marker == kApp1 && content.starts_with(kName) && found.size_ == 0) {
      found.at_ = at;
      found.size_ = size;
    }
    // A new packet comes after the segments that must be the first.
    const bool isFirst = marker == kApp0 || (marker == kApp1 && isExif(content));
    if (isFirst && found.size_ == 0) found.at_ = at + size;
    at += size;
  }
  return std::nullopt;
}

std::string JpegPacket::packet(std::span<const std::uint8_t> file) const {
  if (size_ == 0) return {};
  const std::size_t head = kHead + kName.size();
  return std::string(textOf(file.subspan(at_ + head, size_ - head)));
}

std::optional<Bytes> JpegPacket::withPacket(std::span<const std::uint8_t> file,
                                            std::string_view packet) const {
  const std::size_t length = 2 + kName.size() + packet.size();
  if (packet.empty() || length > 0xFFFF) return std::nullopt;
  Bytes result;
  result.reserve(file.size() + length + 2);
  result.insert(result.end(), file.begin(), file.begin() + static_cast<std::ptrdiff_t>(at_));
  result.insert(result.end(), {0xFF, kApp1, static_cast<std::uint8_t>(length >> 8),
                               static_cast<std::uint8_t>(length & 0xFF)});
  result.insert(result.end(), kName.begin(), kName.end());
  result.insert(result.end(), packet.begin(), packet.end());
  result.insert(result.end(), file.begin() + static_cast<std::ptrdiff_t>(at_ + size_), file.end());
  return result;
}

}  // namespace moxtel
