#include <algorithm>
#include <array>
#include <cstring>
#include <vips/vips8>

#include "pictures/codec/FlatPsd.h"
#include "pictures/codec/decoder/Sources.h"

namespace moxtel::decoder {
namespace {

using vips::VImage;
using vips::VOption;

const char* loaderOf(PictureKind kind) {
  switch (kind) {
    case PictureKind::Jpeg:
      return "jpegload_buffer";
    case PictureKind::Png:
      return "pngload_buffer";
    case PictureKind::Tiff:
      return "tiffload_buffer";
    case PictureKind::Gif:
      return "gifload_buffer";
    case PictureKind::WebP:
      return "webpload_buffer";
    case PictureKind::Jpeg2000:
      return "jp2kload_buffer";
    case PictureKind::Bmp:
    case PictureKind::Psd:
      return "magickload_buffer";
    default:
      return nullptr;
  }
}

VImage loaded(FileBytes file, PictureKind kind, const char* loader) {
  VipsBlob* blob = vips_blob_new(nullptr, file.data(), file.size());
  VImage image;
  VOption* options = VImage::option()->set("buffer", blob)->set("out", &image);
  vips_area_unref(VIPS_AREA(blob));
  options->set("access", VIPS_ACCESS_SEQUENTIAL);
  // The TIFF reader warns about unknown tags, which are harmless.
  options->set("fail_on", kind == PictureKind::Tiff ? VIPS_FAIL_ON_ERROR : VIPS_FAIL_ON_TRUNCATED);
  VImage::call(loader, options);
  return image;
}

// The colors (1 or 3 bands) and the alpha, separate because they are converted differently.
struct Parts {
  VImage colors;
  VImage alpha;  // when hasAlpha
  bool hasAlpha = false;
};

Parts partsOf(const VImage& image, int colors) {
  Parts parts;
  parts.colors = image.extract_band(0, VImage::option()->set("n", colors));
  parts.hasAlpha = image.bands() > colors;
  if (parts.hasAlpha) parts.alpha = image.extract_band(colors);
  return parts;
}

bool isFloating(const VImage& image) {
  return image.format() == VIPS_FORMAT_FLOAT || image.format() == VIPS_FORMAT_DOUBLE;
}

// Converts any number of bits, and reals from 0 to 1, to 8 bits.
VImage toBytes(const VImage& image) {
  if (image.format() == VIPS_FORMAT_UCHAR) return image;
  if (isFloating(image)) return image.linear(255, 0.5).cast(VIPS_FORMAT_UCHAR);
  return image.cast(VIPS_FORMAT_UCHAR, VImage::option()->set("shift", TRUE));
}

void dropProfile(VImage& image) {
  image = image.copy();
  image.remove(VIPS_META_ICC_NAME);
}

// CMYK to sRGB, by the file's profile or else a default one.
VImage inksToRgb(const VImage& inks) {
  return inks.icc_transform("srgb", VImage::option()
                                        ->set("embedded", TRUE)
                                        ->set("input_profile", "cmyk")
                                        ->set("intent", VIPS_INTENT_PERCEPTUAL));
}

bool isLab(const VImage& image) {
  return image.interpretation() == VIPS_INTERPRETATION_LAB ||
         image.interpretation() == VIPS_INTERPRETATION_LABS ||
         image.interpretation() == VIPS_INTERPRETATION_LABQ;
}

// Reals without a profile are linear light; with one, the profile describes them.
VImage lightToRgb(const VImage& light) {
  const bool gray = light.bands() == 1;
  const VImage three = gray ? light.bandjoin(light).bandjoin(light) : light;
  const VImage rgb = three.copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_scRGB))
                         .colourspace(VIPS_INTERPRETATION_sRGB);
  return gray ? rgb.extract_band(0) : rgb;
}

VImage colorsToBytes(VImage colors) {
  const bool hasProfile = colors.get_typeof(VIPS_META_ICC_NAME) != 0;
  if (isLab(colors)) {
    colors = colors.colourspace(VIPS_INTERPRETATION_sRGB);
    dropProfile(colors);
  } else if (colors.interpretation() == VIPS_INTERPRETATION_CMYK) {
    colors = inksToRgb(colors);
  } else if (isFloating(colors) && !hasProfile) {
    colors = lightToRgb(colors);
  }
  return toBytes(colors);
}

// Gray, Rgb or Rgba of 8 bits.
VImage normalized(const VImage& file) {
  VImage image = file;
  if (image.coding() != VIPS_CODING_NONE) {  // packed Lab
    image = image.colourspace(VIPS_INTERPRETATION_sRGB);
    dropProfile(image);
  }
  int colors = image.bands() < 3 ? 1 : 3;
  if (image.interpretation() == VIPS_INTERPRETATION_CMYK && image.bands() >= 4) colors = 4;
  Parts parts = partsOf(image, colors);
  parts.colors = colorsToBytes(parts.colors);
  if (!parts.hasAlpha) return parts.colors;
  if (parts.colors.bands() == 1) {
    dropProfile(parts.colors);  // it is for gray
    parts.colors = parts.colors.bandjoin(parts.colors).bandjoin(parts.colors);
  }
  return parts.colors.bandjoin(toBytes(parts.alpha));
}

Bytes profileOf(const VImage& image) {
  if (image.get_typeof(VIPS_META_ICC_NAME) == 0) return {};
  std::size_t size = 0;
  const auto* bytes = static_cast<const std::uint8_t*>(image.get_blob(VIPS_META_ICC_NAME, &size));
  return Bytes(bytes, bytes + size);
}

bool isForGray(const Bytes& profile) {
  return profile.size() > 20 && std::memcmp(profile.data() + 16, "GRAY", 4) == 0;
}

// ImageMagick gives gray as three equal channels, which the gray profile does not fit.
VImage asItsProfile(const VImage& image) {
  if (image.bands() < 3 || !isForGray(profileOf(image))) return image;
  const VImage gray = image.extract_band(0);
  return image.bands() == 3 ? gray : gray.bandjoin(image.extract_band(3));
}

class VipsSource final : public PictureSource {
 public:
  // pixels: the memory that the image borrows, if any.
  explicit VipsSource(VImage image, Bytes pixels = {})
      : pixels_(std::move(pixels)), image_(std::move(image)) {
    description_.width = static_cast<std::uint32_t>(image_.width());
    description_.height = static_cast<std::uint32_t>(image_.height());
    description_.layout = static_cast<PixelLayout>(image_.bands());
    description_.iccProfile = profileOf(image_);
    region_.reset(vips_region_new(image_.get_image()));
  }
  const PixelBuffer& description() const override { return description_; }
  bool readRows(std::uint32_t count, std::uint8_t* place) noexcept override {
    const VipsRect area{0, static_cast<int>(row_), image_.width(), static_cast<int>(count)};
    if (!region_ || vips_region_prepare(region_.get(), &area) != 0) return false;
    for (std::uint32_t i = 0; i < count; ++i, ++row_, place += description_.rowBytes())
      std::memcpy(place, VIPS_REGION_ADDR(region_.get(), 0, row_), description_.rowBytes());
    return true;
  }

 private:
  struct Unref {
    void operator()(VipsRegion* region) const { g_object_unref(region); }
  };
  Bytes pixels_;  // go last
  VImage image_;
  PixelBuffer description_;
  std::unique_ptr<VipsRegion, Unref> region_;  // before the image goes
  std::uint32_t row_ = 0;
};

// The bytes encode L* from 0 to 100 and a*, b* around 0, relative to D50.
VImage labToRgb(const VImage& bytes) {
  return bytes.linear({100.0 / 255, 1, 1}, {0, -128, -128})
      .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_LAB))
      .icc_export(VImage::option()
                      ->set("output_profile", "srgb")
                      ->set("intent", VIPS_INTENT_RELATIVE)
                      ->set("depth", 8));
}

std::unique_ptr<PictureSource> sourceOf(FlatPsd picture) {
  VImage image = VImage::new_from_memory(picture.samples.data(), picture.samples.size(),
                                         static_cast<int>(picture.width), static_cast<int>(picture.height),
                                         static_cast<int>(picture.samplesPerPixel()), VIPS_FORMAT_UCHAR);
  const bool inks = picture.colors == FlatPsd::Colors::Inks;
  image = image.copy(
      VImage::option()->set("interpretation", inks ? VIPS_INTERPRETATION_CMYK : VIPS_INTERPRETATION_sRGB));
  if (!picture.iccProfile.empty())
    vips_image_set_blob_copy(image.get_image(), VIPS_META_ICC_NAME, picture.iccProfile.data(),
                             picture.iccProfile.size());
  if (picture.colors == FlatPsd::Colors::Lab) image = labToRgb(image);
  VImage shown = normalized(image);
  return std::make_unique<VipsSource>(std::move(shown), std::move(picture.samples));
}

}  // namespace

std::unique_ptr<PictureSource> openWithVips(FileBytes file, PictureKind kind) {
  const char* loader = loaderOf(kind);
  if (!loader) return nullptr;
  try {
    if (kind == PictureKind::Psd) {
      if (auto picture = flatPsd(file)) return sourceOf(*std::move(picture));
    }
    const VImage image = loaded(file, kind, loader);
    if (!isDecodableSize(static_cast<std::uint64_t>(image.width()),
                         static_cast<std::uint64_t>(image.height())))
      return nullptr;
    // Not through ImageMagick, which loses the black ink.
    if (kind == PictureKind::Psd && image.interpretation() == VIPS_INTERPRETATION_CMYK) return nullptr;
    return std::make_unique<VipsSource>(normalized(kind == PictureKind::Psd ? asItsProfile(image) : image));
  } catch (const vips::VError&) {
    return nullptr;
  }
}

}  // namespace moxtel::decoder
