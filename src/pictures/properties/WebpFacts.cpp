// WebP: its chunks (RFC 9649).
#include <algorithm>

#include "pictures/properties/PictureFacts.h"

namespace moxtel::properties {
namespace {

constexpr std::uint32_t kWebpPixelsHead = 16;  // bytes of a frame's size and duration

std::uint32_t packed24(FileBytes bytes) { return littleEndian(bytes.first(3)); }

void takeWebpSize(std::string_view type, FileBytes data, PictureFacts& facts) {
  if (type == "VP8X" && data.size() >= 10) {
    facts.hasAlpha = (data[0] & 0x10) != 0;
    facts.width = packed24(data.subspan(4)) + 1;
    facts.height = packed24(data.subspan(7)) + 1;
  } else if (type == "VP8 " && data.size() >= 10 && facts.width == 0) {
    facts.width = littleEndian(data.subspan(6, 2)) & 0x3FFF;
    facts.height = littleEndian(data.subspan(8, 2)) & 0x3FFF;
  } else if (type == "VP8L" && data.size() >= 5 && facts.width == 0) {
    const std::uint32_t bits = littleEndian(data.subspan(1, 4));
    facts.width = (bits & 0x3FFF) + 1;
    facts.height = (bits >> 14 & 0x3FFF) + 1;
    facts.hasAlpha = (bits >> 28 & 1) != 0;
  }
}

// The loop count of an animation and the duration of its first frame.
void takeAnimation(std::string_view type, FileBytes data, PictureFacts& facts) {
  if (type == "ANIM" && data.size() >= 6) facts.webp.set("LoopCount", littleEndian(data.subspan(4, 2)));
  if (type != "ANMF" || data.size() < 16 || facts.webp.contains("DelayTime")) return;
  const double seconds = packed24(data.subspan(12)) / 1000.0;
  facts.webp.set("DelayTime", shownDelay(seconds));
  facts.webp.set("UnclampedDelayTime", seconds);
}

void takeWebpBlock(std::string_view type, FileBytes data, PictureFacts& facts) {
  if (type == "ICCP") facts.icc = copyOf(data);
  if (type == "XMP ") facts.xmp = textOf(data);
  // Some programs put the prefix of a JPEG's Exif segment before it.
  const bool introduced = textOf(data).starts_with(std::string_view("Exif\0\0", 6));
  if (type == "EXIF") facts.exif = copyOf(data.subspan(introduced ? 6 : 0));
}

}  // namespace

std::optional<PictureFacts> webpFacts(ByteSource& file) {
  PictureFacts facts;
  std::uint64_t place = 12;
  while (true) {
    const FileBytes head = file.at(place, 8);
    if (head.empty()) break;
    const std::string type(textOf(head.first(4)));
    const std::uint32_t length = littleEndian(head.subspan(4, 4));
    const bool isPixels = type.starts_with("VP8") || type == "ANMF";
    const FileBytes data = file.at(place + 8, isPixels ? std::min(length, kWebpPixelsHead) : length);
    takeWebpSize(type, data, facts);
    takeAnimation(type, data, facts);
    if (!isPixels) takeWebpBlock(type, data, facts);
    place += 8 + std::uint64_t{length} + length % 2;
  }
  return withSize(std::move(facts));
}

}  // namespace moxtel::properties
