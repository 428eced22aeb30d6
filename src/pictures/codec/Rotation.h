// Rotates a picture about its center. Any thread.
#pragma once

#include <cstdint>
#include <optional>

#include "pictures/codec/PixelBuffer.h"

namespace moxtel {

// The picture rotated counterclockwise by an angle in degrees (negative: clockwise). The result is the
// bounding box of the rotated rectangle, rounded up to whole pixels. Multiples of 90 degrees move each pixel
// exactly. Other angles interpolate and give Rgba with transparent corners; the profile of a gray picture is
// dropped. Nothing if the result would have more than kMaximumPixels.
std::optional<PixelBuffer> imageRotatedBy(const PixelBuffer& image, std::int32_t angle);

}  // namespace moxtel
