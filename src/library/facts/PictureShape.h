// From the pixels of an original to the picture as it is displayed. Any thread.
#pragma once

#include <cstdint>
#include <optional>

#include "library/facts/PhotoFacts.h"
#include "library/kinds/LibraryKind.h"

namespace moxtel {

// The columns of a version that say how it looks. Any numbers, as the library has them.
struct VersionShape {
  std::int64_t storedWidth = 0;
  std::int64_t storedHeight = 0;
  std::int64_t processedWidth = 0;
  std::int64_t processedHeight = 0;
  std::int64_t rotation = 0;
  bool isAdjusted = false;
};

struct PictureShape {
  std::int32_t storedWidth = 0;  // 0: not known
  std::int32_t storedHeight = 0;
  std::int32_t width = 0;  // as displayed
  std::int32_t height = 0;
  std::int32_t rotation = 0;  // 0, 90, 180, 270
  bool isCropped = false;
};

// An unedited photo is its original, turned; of an edited one the library keeps the size.
PictureShape shapeOf(const VersionShape& version, LibraryKind kind);

// A rectangle of the stored picture in the one that is turned clockwise by 0, 90, 180 or 270 degrees.
FactRectangle turned(const FactRectangle& stored, int degrees);

// The piece of a rectangle inside the picture; nothing if it has no area there.
std::optional<FactRectangle> insidePicture(const FactRectangle& rectangle);

// Degrees clockwise by which a picture with this Exif orientation (1 to 8) is turned for display.
int degreesOfOrientation(int exifOrientation);

}  // namespace moxtel
