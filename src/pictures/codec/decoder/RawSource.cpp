#include <libraw/libraw.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "pictures/codec/decoder/Sources.h"

namespace moxtel::decoder {
namespace {

// LibRaw accepts many ordinary TIFF files. Only files with a sensor pattern, a DNG version or Canon's mark
// are RAW files (some of Canon's contain developed pixels and so have no pattern).
bool isCameraFile(const LibRaw& raw, FileBytes file, PictureKind kind) {
  if (kind == PictureKind::Raw) return true;
  const libraw_iparams_t& facts = raw.imgdata.idata;
  const bool canon = file.size() > 10 && file[8] == 'C' && file[9] == 'R';
  return facts.filters != 0 || facts.dng_version != 0 || canon;
}

class RawSource final : public PictureSource {
 public:
  RawSource(std::unique_ptr<LibRaw> raw, PixelBuffer image)
      : raw_(std::move(raw)), image_(std::move(image)) {}
  const PixelBuffer& description() const override { return image_; }
  bool readRows(std::uint32_t count, std::uint8_t* place) noexcept override {
    const std::size_t size = count * image_.rowBytes();
    std::memcpy(place, pixels_.data() + read_, size);
    read_ += size;
    return true;
  }
  bool develop() {
    pixels_.resize(image_.rowBytes() * image_.height);
    const bool done =
        raw_->copy_mem_image(pixels_.data(), static_cast<int>(image_.rowBytes()), 0) == LIBRAW_SUCCESS;
    raw_.reset();
    return done;
  }

 private:
  std::unique_ptr<LibRaw> raw_;
  PixelBuffer image_;
  Bytes pixels_;
  std::size_t read_ = 0;
};

void setUp(libraw_output_params_t& settings) {
  settings.user_flip = 0;      // no rotation
  settings.use_camera_wb = 1;  // the camera's white balance
  settings.output_bps = 8;
  settings.output_color = 1;  // sRGB
  settings.user_qual = 2;     // patterned pixel grouping: a third of the default's time, hardly worse
}

}  // namespace

std::unique_ptr<PictureSource> openRaw(FileBytes file, PictureKind kind, std::uint32_t side) {
  auto raw = std::make_unique<LibRaw>();
  setUp(raw->imgdata.params);
  // LibRaw does not write into the buffer; its parameter only lacks const.
  if (raw->open_buffer(const_cast<std::uint8_t*>(file.data()), file.size()) != LIBRAW_SUCCESS) return nullptr;
  if (!isCameraFile(*raw, file, kind)) return nullptr;
  if (!isDecodableSize(raw->imgdata.sizes.raw_width, raw->imgdata.sizes.raw_height)) return nullptr;
  const std::uint32_t longer = std::max(raw->imgdata.sizes.width, raw->imgdata.sizes.height);
  raw->imgdata.params.half_size = longer / 2 >= side ? 1 : 0;
  if (raw->unpack() != LIBRAW_SUCCESS || raw->dcraw_process() != LIBRAW_SUCCESS) return nullptr;
  int width = 0, height = 0, colors = 0, bits = 0;
  raw->get_mem_image_format(&width, &height, &colors, &bits);
  if (width <= 0 || height <= 0 || bits != 8 || (colors != 1 && colors != 3)) return nullptr;
  PixelBuffer image;
  image.width = static_cast<std::uint32_t>(width);
  image.height = static_cast<std::uint32_t>(height);
  image.layout = colors == 1 ? PixelLayout::Gray : PixelLayout::Rgb;
  auto source = std::make_unique<RawSource>(std::move(raw), std::move(image));
  return source->develop() ? std::move(source) : nullptr;
}

}  // namespace moxtel::decoder
