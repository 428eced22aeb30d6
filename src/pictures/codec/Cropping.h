// Cuts a part out of a picture. Any thread.
#pragma once

#include "pictures/codec/PixelBuffer.h"

namespace moxtel {

// A square, in shares of the picture's width and height, from its lower left corner.
struct SquareInPicture {
  double centerX = 0;
  double centerY = 0;
  double size = 0;  // the side, as a share of the longer side of the picture
};

// The square, moved into the picture where it would extend beyond it, and at most as large as the picture
// allows; at least one pixel. The whole picture for numbers that make no sense.
PixelBuffer cutOut(const PixelBuffer& image, const SquareInPicture& square);

}  // namespace moxtel
