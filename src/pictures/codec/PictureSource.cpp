#include "pictures/codec/PictureSource.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace moxtel {

bool PixelBufferSource::readRows(std::uint32_t count, std::uint8_t* place) noexcept {
  std::memcpy(place, image_.row(row_), count * image_.rowBytes());
  row_ += count;
  return true;
}

std::optional<PixelBuffer> pixelsOf(PictureSource& source) {
  constexpr std::uint32_t kRowsAtOnce = 16;
  PixelBuffer image = source.description();
  try {
    image.pixels.resize(image.rowBytes() * image.height);
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
  for (std::uint32_t y = 0; y < image.height; y += kRowsAtOnce)
    if (!source.readRows(std::min(kRowsAtOnce, image.height - y), image.row(y))) return std::nullopt;
  return image;
}

}  // namespace moxtel
