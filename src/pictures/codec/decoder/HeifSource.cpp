#include <libheif/heif.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "pictures/codec/decoder/Sources.h"

namespace moxtel::decoder {
namespace {

template <auto Release>
struct Releaser {
  template <class T>
  void operator()(T* object) const {
    Release(object);
  }
};
using Context = std::unique_ptr<heif_context, Releaser<heif_context_free>>;
using Handle = std::unique_ptr<const heif_image_handle, Releaser<heif_image_handle_release>>;
using Image = std::unique_ptr<heif_image, Releaser<heif_image_release>>;
using Options = std::unique_ptr<heif_decoding_options, Releaser<heif_decoding_options_free>>;

bool failed(const heif_error& error) { return error.code != heif_error_Ok; }

class HeifSource final : public PictureSource {
 public:
  HeifSource(Image image, PixelBuffer description)
      : image_(std::move(image)), description_(std::move(description)) {
    plane_ = heif_image_get_plane_readonly(image_.get(), heif_channel_interleaved, &stride_);
  }
  const PixelBuffer& description() const override { return description_; }
  bool readRows(std::uint32_t count, std::uint8_t* place) noexcept override {
    if (!plane_) return false;
    for (; count > 0; --count, ++row_, place += description_.rowBytes())
      std::memcpy(place, plane_ + row_ * static_cast<std::size_t>(stride_), description_.rowBytes());
    return true;
  }

 private:
  Image image_;
  PixelBuffer description_;
  const std::uint8_t* plane_ = nullptr;
  int stride_ = 0;
  std::size_t row_ = 0;
};

Bytes profileOf(const heif_image_handle* handle) {
  const auto kind = heif_image_handle_get_color_profile_type(handle);
  if (kind != heif_color_profile_type_prof && kind != heif_color_profile_type_rICC) return {};
  Bytes profile(heif_image_handle_get_raw_color_profile_size(handle));
  if (failed(heif_image_handle_get_raw_color_profile(handle, profile.data()))) profile.clear();
  return profile;
}

Image decoded(const heif_image_handle* handle, bool alpha) {
  const Options options(heif_decoding_options_alloc());
  options->ignore_transformations = 1;
  options->convert_hdr_to_8bit = 1;
  heif_image* image = nullptr;
  const heif_error error =
      heif_decode_image(handle, &image, heif_colorspace_RGB,
                        alpha ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB, options.get());
  return failed(error) ? Image() : Image(image);
}

Handle primaryImage(heif_context* context, FileBytes file) {
  if (failed(heif_context_read_from_memory_without_copy(context, file.data(), file.size(), nullptr)))
    return {};
  heif_image_handle* handle = nullptr;
  if (failed(heif_context_get_primary_image_handle(context, &handle))) return {};
  return Handle(handle);
}

bool isSize(int width, int height) {
  return width > 0 && height > 0 &&
         isDecodableSize(static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height));
}

}  // namespace

std::unique_ptr<PictureSource> openHeif(FileBytes file) {
  const Context context(heif_context_alloc());
  // libheif 1.15 loses tiles of a phone's picture when several threads decode them.
  heif_context_set_max_decoding_threads(context.get(), 0);
  const Handle handle = primaryImage(context.get(), file);
  if (!handle) return nullptr;
  if (!isSize(heif_image_handle_get_ispe_width(handle.get()),
              heif_image_handle_get_ispe_height(handle.get())))
    return nullptr;
  const bool alpha = heif_image_handle_has_alpha_channel(handle.get()) != 0;
  Image image = decoded(handle.get(), alpha);
  if (!image) return nullptr;
  // The decoded picture may have another size than its header states.
  const int shownWidth = heif_image_get_width(image.get(), heif_channel_interleaved);
  const int shownHeight = heif_image_get_height(image.get(), heif_channel_interleaved);
  if (!isSize(shownWidth, shownHeight)) return nullptr;
  PixelBuffer description;
  description.width = static_cast<std::uint32_t>(shownWidth);
  description.height = static_cast<std::uint32_t>(shownHeight);
  description.layout = alpha ? PixelLayout::Rgba : PixelLayout::Rgb;
  description.iccProfile = profileOf(handle.get());
  return std::make_unique<HeifSource>(std::move(image), std::move(description));
}

}  // namespace moxtel::decoder
