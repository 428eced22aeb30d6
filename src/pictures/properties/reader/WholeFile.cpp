#include "pictures/properties/reader/WholeFile.h"

#include <libraw/libraw.h>

#include <algorithm>
#include <exiv2/exiv2.hpp>

#include "pictures/codec/PictureKind.h"
#include "pictures/properties/CiffGroup.h"
#include "pictures/properties/Exiv2Setup.h"
#include "pictures/properties/PropertyDictionary.h"

namespace moxtel::properties {
namespace {

constexpr std::uint32_t kDevelopedDepth = 16;
constexpr const char* kDevelopedSpace = "Display P3";

struct Size {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

// LibRaw accepts many ordinary TIFF files. Only files with a sensor pattern, a DNG version or Canon's mark
// are RAW files.
bool isCameraFile(const LibRaw& raw, FileBytes file, PictureKind kind) {
  const libraw_iparams_t& facts = raw.imgdata.idata;
  const bool canon = file.size() > 10 && file[8] == 'C' && file[9] == 'R';
  return kind == PictureKind::Raw || facts.filters != 0 || facts.dng_version != 0 || canon;
}

std::optional<Dictionary> tiffProperties(FileBytes file) {
  ByteSource source(file);
  const auto facts = tiffFacts(source);
  if (!facts) return std::nullopt;
  return assembled(PictureKind::Tiff, *facts, exifGroups(file, ExifOrigin::TiffFile));
}

// Whether the size is that of the sensor without some of its border.
bool isCloseTo(const Size& size, const Size& sensor) {
  const auto fits = [](std::uint32_t part, std::uint32_t whole) {
    return part <= whole + whole / 16 && part >= whole - whole / 8;
  };
  return size.width > 0 && fits(size.width, sensor.width) && fits(size.height, sensor.height);
}

std::uint32_t numberIn(const Exiv2::Exifdatum& datum, long index) {
  if (datum.count() <= index) return 0;
  const auto [above, below] = datum.toRational(index);
  return above <= 0 || below <= 0 ? 0 : static_cast<std::uint32_t>(above / below);
}

// The size that the camera or the DNG states, else LibRaw's.
Size developedSize(const LibRaw& raw, const Exiv2::ExifData& data) {
  const Size sensor{raw.imgdata.sizes.width, raw.imgdata.sizes.height};
  Size stated;
  for (const Exiv2::Exifdatum& datum : data) {
    constexpr std::uint16_t kDefaultCropSize = 0xC620, kPixelXDimension = 0xA002, kPixelYDimension = 0xA003;
    const bool isDng = raw.imgdata.idata.dng_version != 0;
    const bool isPhoto = datum.groupName() == "Photo";
    if (isDng && datum.tag() == kDefaultCropSize) {
      const Size cropped{numberIn(datum, 0), numberIn(datum, 1)};
      return cropped.width > 0 && cropped.height > 0 ? cropped : sensor;
    }
    if (isPhoto && datum.tag() == kPixelXDimension) stated.width = numberIn(datum, 0);
    if (isPhoto && datum.tag() == kPixelYDimension) stated.height = numberIn(datum, 0);
  }
  return isCloseTo(stated, sensor) ? stated : sensor;
}

Exiv2::ExifData exifDataOf(FileBytes file, std::string& xmp) {
  try {
    const auto image = Exiv2::ImageFactory::open(file.data(), static_cast<long>(file.size()));
    image->readMetadata();
    xmp = image->xmpPacket();
    return image->exifData();
  } catch (const std::exception&) {
    return {};
  }
}

std::optional<Dictionary> cameraFileProperties(const LibRaw& raw, FileBytes file) {
  PictureFacts facts;
  const Exiv2::ExifData data = exifDataOf(file, facts.xmp);
  const Size size = developedSize(raw, data);
  facts.width = size.width;
  facts.height = size.height;
  if (facts.width == 0 || facts.height == 0) return std::nullopt;
  facts.depth = kDevelopedDepth;
  facts.profileName = kDevelopedSpace;
  ExifGroups groups = groupsOf(data, ExifOrigin::TiffFile);
  ByteSource source(file);
  if (isCiff(source)) {
    // Reports its records unchanged, not as the maker note that Exiv2 makes of them.
    facts.ciff = ciffGroup(source);
    groups.canon = groups.canonAux = Dictionary();
  }
  return assembled(PictureKind::Raw, facts, std::move(groups));
}

}  // namespace

std::optional<Dictionary> wholeFileProperties(FileBytes file) {
  const PictureKind kind = kindOfPicture(file.first(std::min(file.size(), kPictureStartSize)));
  ByteSource source(file);
  if (kind != PictureKind::Tiff && kind != PictureKind::Raw) return propertyDictionary(kind, source);
  if (kind == PictureKind::Tiff && isOrdinaryTiff(source)) return tiffProperties(file);
  setUpExiv2();
  LibRaw raw;
  // LibRaw does not write into the buffer; its parameter only lacks const.
  const int opened = raw.open_buffer(const_cast<std::uint8_t*>(file.data()), file.size());
  if (opened == LIBRAW_SUCCESS && isCameraFile(raw, file, kind)) return cameraFileProperties(raw, file);
  return kind == PictureKind::Tiff ? tiffProperties(file) : std::nullopt;
}

}  // namespace moxtel::properties
