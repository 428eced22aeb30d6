// A picture in memory: 8 bits per channel, rows from top to bottom without padding, with its color profile.
// Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "value/Value.h"

namespace moxtel {

// The value is the number of bytes per pixel.
enum class PixelLayout : std::uint8_t { Gray = 1, Rgb = 3, Rgba = 4 };  // Rgba: not premultiplied

constexpr std::size_t bytesPerPixel(PixelLayout layout) { return static_cast<std::size_t>(layout); }

// Pictures with more pixels than this are not decoded: five times the largest camera's, or a scan of 20,000
// by 20,000. A file of a few KB may claim any size.
inline constexpr std::uint64_t kMaximumPixels = 400'000'000;

constexpr bool isDecodableSize(std::uint64_t width, std::uint64_t height) {
  return width > 0 && height > 0 && width <= kMaximumPixels && height <= kMaximumPixels / width;
}

struct PixelBuffer {
  std::uint32_t width = 0;   // pixels
  std::uint32_t height = 0;  // pixels
  PixelLayout layout = PixelLayout::Rgb;
  Bytes pixels;      // height * rowBytes()
  Bytes iccProfile;  // empty: sRGB, or gray with its gamma

  std::size_t rowBytes() const { return width * bytesPerPixel(layout); }
  const std::uint8_t* row(std::size_t y) const { return pixels.data() + y * rowBytes(); }
  std::uint8_t* row(std::size_t y) { return pixels.data() + y * rowBytes(); }
  const std::uint8_t* pixel(std::size_t x, std::size_t y) const { return row(y) + x * bytesPerPixel(layout); }
};

}  // namespace moxtel
