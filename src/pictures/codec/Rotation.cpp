#include "pictures/codec/Rotation.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace moxtel {
namespace {

PixelBuffer emptyPicture(std::uint32_t width, std::uint32_t height, PixelLayout layout) {
  PixelBuffer picture{width, height, layout, {}, {}};
  picture.pixels.resize(picture.rowBytes() * height);
  return picture;
}

// Maps the pixel (x, y) of the rotated picture to the original, for counterclockwise quarter turns.
std::pair<std::size_t, std::size_t> sourceOf(const PixelBuffer& image, int quarters, std::size_t x,
                                             std::size_t y) {
  switch (quarters) {
    case 1:
      return {image.width - 1 - y, x};
    case 2:
      return {image.width - 1 - x, image.height - 1 - y};
    case 3:
      return {y, image.height - 1 - x};
    default:
      return {x, y};
  }
}

PixelBuffer turnedByQuarters(const PixelBuffer& image, int quarters) {
  const bool lying = quarters % 2 != 0;
  PixelBuffer turned =
      emptyPicture(lying ? image.height : image.width, lying ? image.width : image.height, image.layout);
  turned.iccProfile = image.iccProfile;
  const std::size_t size = bytesPerPixel(image.layout);
  for (std::size_t y = 0; y < turned.height; ++y) {
    std::uint8_t* place = turned.row(y);
    for (std::size_t x = 0; x < turned.width; ++x, place += size) {
      const auto [fromX, fromY] = sourceOf(image, quarters, x, y);
      std::memcpy(place, image.pixel(fromX, fromY), size);
    }
  }
  return turned;
}

struct Rgba {
  double red = 0, green = 0, blue = 0, alpha = 0;  // premultiplied
};

// Transparent outside the picture.
Rgba pixelAt(const PixelBuffer& image, std::int64_t x, std::int64_t y) {
  if (x < 0 || y < 0 || x >= image.width || y >= image.height) return {};
  const std::uint8_t* p = image.pixel(static_cast<std::size_t>(x), static_cast<std::size_t>(y));
  if (image.layout == PixelLayout::Gray) return {double(p[0]), double(p[0]), double(p[0]), 1};
  const double alpha = image.layout == PixelLayout::Rgba ? p[3] / 255.0 : 1;
  return {p[0] * alpha, p[1] * alpha, p[2] * alpha, alpha};
}

Rgba blend(const Rgba& a, const Rgba& b, double share) {
  const auto mix = [share](double x, double y) { return x + (y - x) * share; };
  return {mix(a.red, b.red), mix(a.green, b.green), mix(a.blue, b.blue), mix(a.alpha, b.alpha)};
}

// x and y refer to pixel centers: 0.5 is the center of the first pixel.
Rgba sampleAt(const PixelBuffer& image, double x, double y) {
  const double left = std::floor(x - 0.5);
  const double top = std::floor(y - 0.5);
  const auto column = static_cast<std::int64_t>(left);
  const auto line = static_cast<std::int64_t>(top);
  const double share = x - 0.5 - left;
  return blend(blend(pixelAt(image, column, line), pixelAt(image, column + 1, line), share),
               blend(pixelAt(image, column, line + 1), pixelAt(image, column + 1, line + 1), share),
               y - 0.5 - top);
}

void store(const Rgba& color, std::uint8_t* place) {
  const auto byte = [](double v) { return static_cast<std::uint8_t>(std::clamp(v + 0.5, 0.0, 255.0)); };
  const double whole = color.alpha > 0 ? 1 / color.alpha : 0;
  place[0] = byte(color.red * whole);
  place[1] = byte(color.green * whole);
  place[2] = byte(color.blue * whole);
  place[3] = byte(color.alpha * 255);
}

// Rounds up, but ignores the rounding error of the sine and cosine.
std::uint64_t wholePixels(double length) { return static_cast<std::uint64_t>(std::ceil(length - 1e-6)); }

std::optional<PixelBuffer> turnedByAngle(const PixelBuffer& image, double radians) {
  const double sine = std::sin(radians);
  const double cosine = std::cos(radians);
  const double w = image.width, h = image.height;
  const std::uint64_t width = wholePixels(w * std::abs(cosine) + h * std::abs(sine));
  const std::uint64_t height = wholePixels(w * std::abs(sine) + h * std::abs(cosine));
  if (!isDecodableSize(width, height)) return std::nullopt;
  PixelBuffer turned =
      emptyPicture(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), PixelLayout::Rgba);
  if (image.layout != PixelLayout::Gray) turned.iccProfile = image.iccProfile;
  for (std::uint32_t y = 0; y < turned.height; ++y) {
    std::uint8_t* place = turned.row(y);
    for (std::uint32_t x = 0; x < turned.width; ++x, place += 4) {
      // Rows run downward, so this clockwise rotation undoes the counterclockwise one.
      const double dx = x + 0.5 - turned.width / 2.0;
      const double dy = y + 0.5 - turned.height / 2.0;
      store(sampleAt(image, dx * cosine - dy * sine + w / 2, dx * sine + dy * cosine + h / 2), place);
    }
  }
  return turned;
}

}  // namespace

std::optional<PixelBuffer> imageRotatedBy(const PixelBuffer& image, std::int32_t angle) {
  if (!isDecodableSize(image.width, image.height)) return std::nullopt;
  const int degrees = (angle % 360 + 360) % 360;
  if (degrees % 90 == 0) return turnedByQuarters(image, degrees / 90);
  return turnedByAngle(image, degrees * std::numbers::pi / 180);
}

}  // namespace moxtel
