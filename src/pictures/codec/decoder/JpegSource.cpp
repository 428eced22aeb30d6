#include <algorithm>
#include <cstdlib>

#include "pictures/codec/JpegLibrary.h"
#include "pictures/codec/decoder/Sources.h"

namespace moxtel::decoder {
namespace {

constexpr unsigned kLargestShrinking = 8;

class JpegSource final : public PictureSource {
 public:
  const PixelBuffer& description() const override { return image_; }

  bool hasOtherInks() const { return hasOtherInks_; }
  bool start(FileBytes file, std::uint32_t side) {
    if (MOXTEL_JPEG_FAILED(errors_)) return false;
    decoder_.readHeader(file);
    hasOtherInks_ = decoder_.hasOtherInks();
    if (decoder_.isTooLarge() || hasOtherInks_) return false;
    decoder_.limitScans();
    jpeg_decompress_struct& in = decoder_.info;
    const JDIMENSION longer = std::max(in.image_width, in.image_height);
    in.scale_num = 1;
    in.scale_denom = kLargestShrinking;
    while (in.scale_denom > 1 && longer / in.scale_denom < side) in.scale_denom /= 2;
    in.out_color_space = in.jpeg_color_space == JCS_GRAYSCALE ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_start_decompress(&in);
    image_.width = in.output_width;
    image_.height = in.output_height;
    image_.layout = in.out_color_space == JCS_GRAYSCALE ? PixelLayout::Gray : PixelLayout::Rgb;
    readProfile();
    return true;
  }

  bool readRows(std::uint32_t count, std::uint8_t* place) noexcept override {
    if (MOXTEL_JPEG_FAILED(errors_)) return false;
    const JDIMENSION end = decoder_.info.output_scanline + count;
    while (decoder_.info.output_scanline < end) {
      const JDIMENSION left = end - decoder_.info.output_scanline;
      JSAMPROW row = place + (count - left) * image_.rowBytes();
      jpeg_read_scanlines(&decoder_.info, &row, 1);
    }
    return true;
  }

 private:
  void readProfile() {
    JOCTET* bytes = nullptr;
    unsigned size = 0;
    if (!jpeg_read_icc_profile(&decoder_.info, &bytes, &size)) return;
    image_.iccProfile.assign(bytes, bytes + size);
    std::free(bytes);
  }

  jpeg::Errors errors_;
  jpeg::JpegDecoder decoder_{errors_};
  PixelBuffer image_;
  bool hasOtherInks_ = false;
};

}  // namespace

std::unique_ptr<PictureSource> openJpeg(FileBytes file, std::uint32_t side, bool& hasOtherInks) {
  auto source = std::make_unique<JpegSource>();
  const bool started = source->start(file, side);
  hasOtherInks = source->hasOtherInks();
  return started ? std::move(source) : nullptr;
}

}  // namespace moxtel::decoder
