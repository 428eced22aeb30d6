// Turning a picture about its centre. Any thread.
#pragma once

#include <cstdint>
#include <optional>

#include "pictures/codec/PixelBuffer.h"

namespace moxtel {

// The picture turned counter-clockwise by an angle in degrees (negative: clockwise), in a new picture that is
// the box enclosing the turned rectangle, rounded up to whole pixels. Multiples of 90 degrees move every
// pixel exactly; other angles blend neighbours, and the corners that the picture does not reach are
// transparent (the result is Rgba; a gray picture's profile, which fits no colours, is dropped). Nothing when
// the result would have more than kMaximumPixels.
std::optional<PixelBuffer> imageRotatedBy(const PixelBuffer& image, std::int32_t angle);

}  // namespace moxtel
