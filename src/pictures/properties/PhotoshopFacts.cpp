// Photoshop documents: header, image resources and names of the layers (Adobe Photoshop File Formats
// Specification).
#include <algorithm>
#include <cstdlib>

#include "pictures/properties/PhotoshopResources.h"
#include "pictures/properties/PictureFacts.h"
#include "pictures/properties/TextEncodings.h"

namespace moxtel::properties {
namespace {

// Modes of a Photoshop document.
enum Mode : std::uint16_t { Bitmap = 0, Gray = 1, Indexed = 2, Cmyk = 4, Duotone = 8, Lab = 9 };

void takeMode(std::uint16_t mode, PictureFacts& facts) {
  if (mode == Bitmap || mode == Gray || mode == Duotone) facts.colorModel = color_model::kGray;
  if (mode == Cmyk) facts.colorModel = color_model::kCmyk;
  if (mode == Lab) facts.colorModel = color_model::kLab;
  facts.isIndexed = mode == Indexed;
}

constexpr std::size_t kMostLayers = 8000;  // the limit of the format

// The Unicode name (Photoshop 5 and later), in the blocks after the old name: "8BIM", key, length, data.
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

// The name in a layer's extra data: after two lists, with its length in front.
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

// The names of the layers, from bottom to top. section: offset of the section of layers.
Array layerNames(ByteSource& file, std::uint64_t section) {
  Array names;
  const auto count = file.shortAt(section + 8);
  // Negative if the first alpha channel is the transparency of the merged picture.
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

}  // namespace moxtel::properties
