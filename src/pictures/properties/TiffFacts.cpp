// TIFF: the first directory's facts and metadata blocks (TIFF 6.0 and its supplements).
#include "pictures/properties/PhotoshopResources.h"
#include "pictures/properties/PictureFacts.h"
#include "pictures/properties/TiffDirectory.h"

namespace moxtel::properties {
namespace {

enum Tag : std::uint16_t {
  NewSubfileType = 0x00FE,
  ImageWidth = 0x0100,
  ImageLength = 0x0101,
  BitsPerSample = 0x0102,
  Compression = 0x0103,
  Photometric = 0x0106,
  ExtraSamples = 0x0152,
  SampleFormat = 0x0153,
  Xmp = 0x02BC,
  Iim = 0x83BB,
  ImageResources = 0x8649,
  Profile = 0x8773,
  DngVersion = 0xC612,
};

constexpr std::uint32_t kPalette = 3;
constexpr std::uint32_t kFloat = 3;

std::string_view modelOf(std::uint32_t photometric) {
  if (photometric == 0 || photometric == 1) return color_model::kGray;
  if (photometric == 5) return color_model::kCmyk;
  return photometric >= 8 && photometric <= 10 ? color_model::kLab : color_model::kRgb;
}

// The samples besides the colors: 1 and 2 are alpha, 0 is unspecified.
bool isAlpha(std::optional<std::uint32_t> extra) { return extra == 1U || extra == 2U; }

// None, CCITT (three kinds), LZW, JPEG, Deflate (two numbers), PackBits.
bool isCommonCompression(std::uint32_t compression) {
  return (compression >= 1 && compression <= 5) || compression == 7 || compression == 8 ||
         compression == 32773 || compression == 32946;
}

}  // namespace

bool isOrdinaryTiff(ByteSource& file) {
  TiffDirectory directory(file);
  const bool isReduced = (directory.number(NewSubfileType).value_or(0) & 1) != 0;
  const std::uint32_t photometric = directory.number(Photometric).value_or(UINT32_MAX);
  const bool canonRaw = textOf(file.at(8, 2)) == "CR";
  return !isReduced && !canonRaw && photometric <= 10 && directory.bytes(DngVersion).empty() &&
         isCommonCompression(directory.number(Compression).value_or(1));
}

std::optional<PictureFacts> tiffFacts(ByteSource& file) {
  TiffDirectory directory(file);
  PictureFacts facts;
  facts.width = directory.number(ImageWidth).value_or(0);
  facts.height = directory.number(ImageLength).value_or(0);
  if (facts.width == 0 || facts.height == 0) return std::nullopt;
  const std::uint32_t photometric = directory.number(Photometric).value_or(0);
  facts.depth = directory.number(BitsPerSample).value_or(1);
  facts.colorModel = modelOf(photometric);
  facts.isIndexed = photometric == kPalette;
  facts.hasAlpha = isAlpha(directory.number(ExtraSamples));
  facts.isFloat = directory.number(SampleFormat) == kFloat;
  facts.icc = directory.bytes(Profile);
  facts.iim = directory.bytes(Iim);
  facts.xmp = textOf(directory.bytes(Xmp));
  PictureFacts embedded;
  takeResources(directory.bytes(ImageResources), embedded);
  if (facts.iim.empty()) facts.iim = std::move(embedded.iim);
  return facts;
}

}  // namespace moxtel::properties
