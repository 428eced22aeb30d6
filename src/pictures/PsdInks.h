// The flattened picture of a PSD in inks (CMYK), which the library that reads other PSDs hands on without the
// black ink. As in Adobe's description of the "Photoshop File Format". Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "value/Value.h"

namespace moxtel {

struct Inks {
  std::uint32_t width = 0;   // pixels
  std::uint32_t height = 0;  // pixels
  Bytes samples;             // cyan, magenta, yellow and black of each pixel; 255 is all ink
  Bytes iccProfile;          // empty: an ordinary press
};

// Of 8 or 16 bits, plain or packed, which is how flattened pictures are written. Nothing for every other
// file, and where a part of the picture is missing. Takes four bytes of memory a pixel, and none unless the
// file is long enough for its size.
std::optional<Inks> inksOfPsd(std::span<const std::uint8_t> file);

}  // namespace moxtel
