// Windows bitmaps: BITMAPINFOHEADER, and the BITMAPCOREHEADER of OS/2.
#include "pictures/properties/PictureFacts.h"

namespace moxtel::properties {

std::optional<PictureFacts> bitmapFacts(ByteSource& file) {
  const FileBytes head = file.at(14, 24);
  if (head.empty()) return std::nullopt;
  PictureFacts facts;
  const bool isOld = littleEndian(head.first(4)) == 12;  // OS/2's header, with sizes of 16 bits
  if (isOld) {
    facts.width = littleEndian(head.subspan(4, 2));
    facts.height = littleEndian(head.subspan(6, 2));
    return withSize(facts);
  }
  const auto height = static_cast<std::int32_t>(littleEndian(head.subspan(8, 4)));
  facts.width = littleEndian(head.subspan(4, 4));
  // Negative for a picture whose rows come from top to bottom.
  facts.height = height < 0 ? -static_cast<std::uint32_t>(height) : static_cast<std::uint32_t>(height);
  const FileBytes dots = file.at(38, 8);
  if (!dots.empty())
    facts.resolution = perMeter(littleEndian(dots.first(4)), littleEndian(dots.subspan(4, 4)));
  return withSize(facts);
}

}  // namespace moxtel::properties
