#include "pictures/properties/PhotoshopResources.h"

namespace moxtel::properties {
namespace {

constexpr std::uint16_t kResolution = 0x03ED;
constexpr std::uint16_t kIim = 0x0404;
constexpr std::uint16_t kProfile = 0x040F;
constexpr std::uint16_t kExif = 0x0422;
constexpr std::uint16_t kXmp = 0x0424;

constexpr std::size_t even(std::size_t size) { return size + size % 2; }

void takeFirst(Bytes& place, FileBytes data) {
  if (place.empty()) place = copyOf(data);
}

// Dots per inch, whatever unit is displayed, as 16.16 fixed point.
void takeResolution(FileBytes data, PictureFacts& facts) {
  if (data.size() < 16) return;
  const auto dots = [&](std::size_t at) { return bigEndian(data.subspan(at, 4)) / 65536.0; };
  // Programs without a resolution write the smallest number above 0.
  if (dots(0) >= 1 && dots(8) >= 1) facts.resolution = Resolution{dots(0), dots(8)};
}

}  // namespace

void forEachResource(FileBytes block, const std::function<void(std::uint16_t, FileBytes)>& take) {
  while (block.size() >= 12 && textOf(block.first(4)) == "8BIM") {
    const auto number = static_cast<std::uint16_t>(bigEndian(block.subspan(4, 2)));
    const std::size_t lengthAt = 6 + even(1U + block[6]);
    if (block.size() < lengthAt + 4) return;
    const std::size_t length = bigEndian(block.subspan(lengthAt, 4));
    const FileBytes rest = block.subspan(lengthAt + 4);
    if (length > rest.size()) return;
    take(number, rest.first(length));
    if (even(length) > rest.size()) return;
    block = rest.subspan(even(length));
  }
}

void takeResources(FileBytes block, PictureFacts& facts) {
  forEachResource(block, [&](std::uint16_t number, FileBytes data) {
    if (number == kResolution) takeResolution(data, facts);
    if (number == kIim) takeFirst(facts.iim, data);
    if (number == kProfile) takeFirst(facts.icc, data);
    if (number == kExif) takeFirst(facts.exif, data);
    if (number == kXmp && facts.xmp.empty()) facts.xmp = textOf(data);
  });
}

}  // namespace moxtel::properties
