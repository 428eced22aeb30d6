// The flattened picture of a PSD in CMYK, in Lab, or with a palette (Adobe Photoshop File Formats
// Specification). Our own reader because ImageMagick loses the black ink, libvips does not read its Lab, and
// neither reads a palette. Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "value/Value.h"

namespace moxtel {

struct FlatPsd {
  enum class Colors : std::uint8_t {
    Inks,  // cyan, magenta, yellow and black of each pixel; 255 is all ink
    Lab,   // lightness, 255 is white; a and b, 128 is none
    Rgb,
  };
  Colors colors = Colors::Rgb;
  std::uint32_t width = 0;   // pixels
  std::uint32_t height = 0;  // pixels
  Bytes samples;             // without padding
  Bytes iccProfile;          // empty: the default CMYK profile, or sRGB

  std::size_t samplesPerPixel() const { return colors == Colors::Inks ? 4 : 3; }
};

// Reads 8 and 16 bits per channel, raw or packed (PackBits), the forms of flattened pictures. Nothing for any
// other file, and if a part of the picture is missing. Allocates the pixels only if the file is long enough
// for them.
std::optional<FlatPsd> flatPsd(std::span<const std::uint8_t> file);

}  // namespace moxtel
