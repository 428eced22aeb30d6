#include "pictures/codec/Cropping.h"

#include <algorithm>
#include <cmath>

namespace moxtel {

namespace {

bool isShare(double number) { return number >= 0 && number <= 1; }

// The first pixel of `side` ones around a center, so that all are in the picture.
std::uint32_t firstPixel(double center, std::uint32_t side, std::uint32_t length) {
  const double first = std::round(center * length - side / 2.0);
  return static_cast<std::uint32_t>(std::clamp(first, 0.0, static_cast<double>(length - side)));
}

}  // namespace

PixelBuffer cutOut(const PixelBuffer& image, const SquareInPicture& square) {
  if (!isShare(square.centerX) || !isShare(square.centerY) || !isShare(square.size) || square.size == 0)
    return image;
  const std::uint32_t most = std::min(image.width, image.height);
  const double wanted = std::round(square.size * std::max(image.width, image.height));
  const auto side = static_cast<std::uint32_t>(std::clamp(wanted, 1.0, static_cast<double>(most)));
  const std::uint32_t left = firstPixel(square.centerX, side, image.width);
  const std::uint32_t top = firstPixel(1 - square.centerY, side, image.height);
  PixelBuffer part;
  part.width = part.height = side;
  part.layout = image.layout;
  part.iccProfile = image.iccProfile;
  part.pixels.reserve(side * part.rowBytes());
  for (std::uint32_t y = 0; y < side; ++y) {
    const std::uint8_t* row = image.pixel(left, top + y);
    part.pixels.insert(part.pixels.end(), row, row + part.rowBytes());
  }
  return part;
}

}  // namespace moxtel
