// The formats that few libraries hold, each with a header that tells its size: Photoshop documents, WebP,
// Windows bitmaps, JPEG 2000 (Adobe Photoshop File Formats Specification; RFC 9649; BITMAPINFOHEADER; ITU-T
// T.800).
#include <algorithm>
#include <cstdlib>

#include "pictures/properties/PhotoshopResources.h"
#include "pictures/properties/PictureFacts.h"
#include "pictures/properties/Texts.h"

namespace moxtel::properties {
namespace {

std::optional<PictureFacts> withSize(PictureFacts facts) {
  if (facts.width == 0 || facts.height == 0) return std::nullopt;
  return facts;
}

// ---- Photoshop ----

// Modes of a Photoshop document.
enum Mode : std::uint16_t { Bitmap = 0, Gray = 1, Indexed = 2, Cmyk = 4, Duotone = 8, Lab = 9 };

void takeMode(std::uint16_t mode, PictureFacts& facts) {
  if (mode == Bitmap || mode == Gray || mode == Duotone) facts.colorModel = color_model::kGray;
  if (mode == Cmyk) facts.colorModel = color_model::kCmyk;
  if (mode == Lab) facts.colorModel = color_model::kLab;
  facts.isIndexed = mode == Indexed;
}

constexpr std::size_t kMostLayers = 8000;  // as many as a document can have

// The name as Photoshop 5 and later write it, in the blocks behind the old one: "8BIM", key, length, data.
std::optional<std::string> unicodeName(FileBytes blocks) {
  while (blocks.size() >= 12) {
    const std::size_t length = bigEndian(blocks.subspan(8, 4));
    const bool isName = textOf(blocks.subspan(4, 4)) == "luni";
    blocks = blocks.subspan(12);
    if (length > blocks.size()) break;
    if (isName && length >= 4) {
      const std::size_t units = bigEndian(blocks.first(4));
      if (units > (length - 4) / 2) break;
      const std::string name = utf16BigEndian(textOf(blocks.subspan(4, 2 * units)));
      return std::string(untilNul(name));
    }
    blocks = blocks.subspan(length);
  }
  return std::nullopt;
}

// The name in a layer's extra data: behind two lists, with its length before it.
std::optional<std::string> layerName(FileBytes data) {
  for (int list = 0; list < 2; ++list) {
    if (data.size() < 4 || bigEndian(data.first(4)) > data.size() - 4) return std::nullopt;
    data = data.subspan(4 + bigEndian(data.first(4)));
  }
  if (data.empty() || data[0] > data.size() - 1) return std::nullopt;
  const std::size_t padded = (std::size_t{data[0]} + 4) / 4 * 4;
  const auto newer = unicodeName(data.subspan(std::min(padded, data.size())));
  return newer ? newer : utf8OrLatin1(textOf(data.subspan(1, data[0])));
}

// The names of the layers, from the lowest to the topmost, from the place of the section of layers on.
Array layerNames(ByteSource& file, std::uint64_t section) {
  Array names;
  const auto count = file.shortAt(section + 8);
  // Negative when the first layer's transparency is the picture's.
  const int layers = count ? std::abs(static_cast<std::int16_t>(*count)) : 0;
  std::uint64_t place = section + 10;
  for (int i = 0; i < layers && names.size() < kMostLayers; ++i) {
    place += 18 + std::uint64_t{6} * file.shortAt(place + 16).value_or(0);
    if (textOf(file.at(place, 4)) != "8BIM") break;
    const std::uint32_t length = file.longAt(place + 12).value_or(0);
    const auto name = layerName(file.at(place + 16, length));
    if (name) names.append(*name);
    place += 16 + std::uint64_t{length};
  }
  return names;
}

// ---- WebP ----

constexpr std::uint32_t kWebpPixelsHead = 16;  // bytes that tell a frame's size and duration

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

// How often an animation runs, and for how long its first picture is shown.
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
  // Some programs put a JPEG's introduction before it.
  const bool introduced = textOf(data).starts_with(std::string_view("Exif\0\0", 6));
  if (type == "EXIF") facts.exif = copyOf(data.subspan(introduced ? 6 : 0));
}

// ---- JPEG 2000 ----

// Metadata boxes begin with the name of what they hold, in 16 bytes.
void takeUuidBox(FileBytes data, PictureFacts& blocks) {
  constexpr std::string_view kXmp = "\xBE\x7A\xCF\xCB\x97\xA9\x42\xE8\x9C\x71\x99\x94\x91\xE3\xAF\xAC";
  if (textOf(data).starts_with(kXmp)) blocks.xmp = textOf(data.subspan(16));
  if (textOf(data).starts_with("JpgTiffExif->JP2")) blocks.exif = copyOf(data.subspan(16));
}

// The codestream's size marker: depth and components after the picture's place on its grid.
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

std::optional<PictureFacts> photoshopFacts(ByteSource& file) {
  const FileBytes head = file.at(0, 26);
  if (head.empty()) return std::nullopt;
  PictureFacts facts;
  facts.height = bigEndian(head.subspan(14, 4));
  facts.width = bigEndian(head.subspan(18, 4));
  facts.depth = bigEndian(head.subspan(22, 2));
  facts.isFloat = facts.depth == 32;
  facts.photoshop = Dictionary{{"Version", 1}};
  takeMode(static_cast<std::uint16_t>(bigEndian(head.subspan(24, 2))), facts);
  const std::uint64_t resourcesAt = 30 + std::uint64_t{file.longAt(26).value_or(0)};
  const auto length = file.longAt(resourcesAt);
  if (length) takeResources(file.at(resourcesAt + 4, *length), facts);
  Array layers = length ? layerNames(file, resourcesAt + 4 + *length) : Array();
  if (!layers.empty()) facts.photoshop.set("LayerNames", std::move(layers));
  return withSize(std::move(facts));
}

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
    facts.resolution = perMetre(littleEndian(dots.first(4)), littleEndian(dots.subspan(4, 4)));
  return withSize(facts);
}

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
    // The last box may go on to the file's end, and say so by a length of 0.
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
