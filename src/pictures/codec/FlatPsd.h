// The flattened picture of a PSD in inks (CMYK), in Lab, or with a palette: ImageMagick loses the black ink,
// libvips does not take its Lab, and neither reads a palette. As in Adobe's description of the "Photoshop
// File Format". Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "value/Value.h"

namespace moxtel {

struct FlatPsd {
  enum class Colours : std::uint8_t {
    Inks,  // cyan, magenta, yellow and black of each pixel; 255 is all ink
    Lab,   // lightness, 255 is white; a and b, 128 is none
    Rgb,
  };
  Colours colours = Colours::Rgb;
  std::uint32_t width = 0;   // pixels
  std::uint32_t height = 0;  // pixels
  Bytes samples;             // without padding
  Bytes iccProfile;          // empty: that of an ordinary press, or sRGB

  std::size_t samplesPerPixel() const { return colours == Colours::Inks ? 4 : 3; }
};

// Of 8 or 16 bits, plain or packed, which is how flattened pictures are written. Nothing for every other
// file, and where a part of the picture is missing. Takes no memory for the pixels unless the file is long
// enough for its size.
std::optional<FlatPsd> flatPsd(std::span<const std::uint8_t> file);

}  // namespace moxtel
