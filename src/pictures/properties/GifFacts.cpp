// GIF: the blocks before the first image (GIF89a specification).
#include "pictures/properties/PictureFacts.h"

namespace moxtel::properties {
namespace {

constexpr std::uint8_t kExtension = 0x21;
constexpr std::uint8_t kGraphicControl = 0xF9;

// The offset after the sub-blocks that begin here.
std::optional<std::uint64_t> afterSubBlocks(ByteSource& file, std::uint64_t place) {
  while (const auto length = file.byteAt(place)) {
    place += 1U + *length;
    if (*length == 0) return place;
  }
  return std::nullopt;
}

void takeControl(FileBytes data, PictureFacts& facts) {
  facts.hasAlpha = (data[0] & 1) != 0;
  const double seconds = littleEndian(data.subspan(1, 2)) / 100.0;
  facts.gif = Dictionary{{"DelayTime", shownDelay(seconds)}, {"UnclampedDelayTime", seconds}};
}

}  // namespace

std::optional<PictureFacts> gifFacts(ByteSource& file) {
  const FileBytes screen = file.at(6, 7);
  if (screen.empty()) return std::nullopt;
  PictureFacts facts;
  facts.width = littleEndian(screen.subspan(0, 2));
  facts.height = littleEndian(screen.subspan(2, 2));
  if (facts.width == 0 || facts.height == 0) return std::nullopt;
  std::uint64_t place = 13;
  if ((screen[4] & 0x80) != 0) place += std::uint64_t{3} << ((screen[4] & 7) + 1);
  while (file.byteAt(place) == kExtension) {
    const FileBytes control = file.at(place + 1, 6);
    if (!control.empty() && control[0] == kGraphicControl && control[1] == 4)
      takeControl(control.subspan(2), facts);
    const auto next = afterSubBlocks(file, place + 2);
    if (!next) break;
    place = *next;
  }
  return facts;
}

}  // namespace moxtel::properties
