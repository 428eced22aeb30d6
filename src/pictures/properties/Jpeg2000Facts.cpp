// JPEG 2000: the boxes of JP2 and the codestream's size marker (ITU-T T.800).
#include "pictures/properties/PictureFacts.h"

namespace moxtel::properties {
namespace {

// A uuid box begins with the 16 bytes that identify its contents.
void takeUuidBox(FileBytes data, PictureFacts& blocks) {
  constexpr std::string_view kXmp = "\xBE\x7A\xCF\xCB\x97\xA9\x42\xE8\x9C\x71\x99\x94\x91\xE3\xAF\xAC";
  if (textOf(data).starts_with(kXmp)) blocks.xmp = textOf(data.subspan(16));
  if (textOf(data).starts_with("JpgTiffExif->JP2")) blocks.exif = copyOf(data.subspan(16));
}

// The codestream's size marker: extent and offset on the reference grid, then components and depth.
std::optional<PictureFacts> codestreamFacts(ByteSource& file, std::uint64_t place) {
  const FileBytes size = file.at(place, 43);
  if (size.empty() || bigEndian(size.subspan(2, 2)) != 0xFF51) return std::nullopt;
  PictureFacts facts;
  const auto number = [&](std::size_t at) { return bigEndian(size.subspan(at, 4)); };
  if (number(16) > number(8) || number(20) > number(12)) return std::nullopt;
  facts.width = number(8) - number(16);
  facts.height = number(12) - number(20);
  const std::uint32_t components = bigEndian(size.subspan(40, 2));
  facts.colorModel = components < 3 ? color_model::kGray : color_model::kRgb;
  facts.hasAlpha = components == 2 || components == 4;
  facts.depth = (size[42] & 0x7FU) + 1;
  return withSize(facts);
}

}  // namespace

std::optional<PictureFacts> jpeg2000Facts(ByteSource& file) {
  if (file.byteAt(0) == 0xFF) return codestreamFacts(file, 0);
  std::optional<PictureFacts> facts;
  PictureFacts blocks;
  std::uint64_t place = 0;
  while (true) {
    const FileBytes head = file.at(place, 8);
    const std::uint32_t length = head.empty() ? 0 : bigEndian(head.first(4));
    const std::string type(textOf(head.empty() ? head : head.subspan(4, 4)));
    if (type == "jp2c" && !facts) facts = codestreamFacts(file, place + 8);
    // The last box may have length 0: it extends to the end of the file.
    if (length < 8) break;
    if (type == "uuid" && length > 24) takeUuidBox(file.at(place + 8, length - 8), blocks);
    place += length;
  }
  if (!facts) return std::nullopt;
  facts->exif = std::move(blocks.exif);
  facts->xmp = std::move(blocks.xmp);
  return facts;
}

}  // namespace moxtel::properties
