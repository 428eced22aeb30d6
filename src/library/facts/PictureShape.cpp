#include "library/facts/PictureShape.h"

#include <algorithm>
#include <cmath>

namespace moxtel {

namespace {

constexpr std::int64_t kMostPixels = 1'000'000;  // of a side
// Developing a RAW cuts off a few pixels; that is no cropping.
constexpr double kSameShape = 0.01;
constexpr double kSameSize = 0.95;

std::int32_t side(std::int64_t pixels) {
  return pixels > 0 && pixels <= kMostPixels ? static_cast<std::int32_t>(pixels) : 0;
}

std::int32_t quarterTurns(std::int64_t degrees) {
  const std::int64_t rest = (degrees % 360 + 360) % 360;
  return rest % 90 == 0 ? static_cast<std::int32_t>(rest) : 0;
}

bool isCroppedTo(double width, double height, double from, double fromHeight) {
  const double ratio = (width / height) / (from / fromHeight);
  return std::abs(ratio - 1) > kSameShape || std::min(width / from, height / fromHeight) < kSameSize;
}

}  // namespace

PictureShape shapeOf(const VersionShape& version, LibraryKind kind) {
  PictureShape shape;
  shape.rotation = quarterTurns(version.rotation);
  shape.storedWidth = side(version.storedWidth);
  shape.storedHeight = side(version.storedHeight);
  if (shape.storedWidth == 0 || shape.storedHeight == 0) shape.storedWidth = shape.storedHeight = 0;
  shape.width = shape.storedWidth;
  shape.height = shape.storedHeight;
  if (shape.rotation % 180 != 0) std::swap(shape.width, shape.height);
  const std::int32_t width = side(version.processedWidth), height = side(version.processedHeight);
  // Photos keeps the size as displayed of every photo.
  const bool isOfPhotos = kind == LibraryKind::Photos4 || kind == LibraryKind::Photos5;
  if (width == 0 || height == 0 || (!version.isAdjusted && !isOfPhotos && shape.width > 0)) return shape;
  // The size before turning, which some versions keep.
  if (!isOfPhotos && width == shape.storedWidth && height == shape.storedHeight) return shape;
  if (shape.width > 0)
    shape.isCropped = version.isAdjusted && isCroppedTo(width, height, shape.width, shape.height);
  shape.width = width;
  shape.height = height;
  return shape;
}

FactRectangle turned(const FactRectangle& r, int degrees) {
  switch (degrees) {
    case 90:
      return {1 - r.y - r.height, r.x, r.height, r.width};
    case 180:
      return {1 - r.x - r.width, 1 - r.y - r.height, r.width, r.height};
    case 270:
      return {r.y, 1 - r.x - r.width, r.height, r.width};
    default:
      return r;
  }
}

std::optional<FactRectangle> insidePicture(const FactRectangle& rectangle) {
  const double left = std::clamp(rectangle.x, 0.0, 1.0), top = std::clamp(rectangle.y, 0.0, 1.0);
  const double right = std::clamp(rectangle.x + rectangle.width, 0.0, 1.0);
  const double bottom = std::clamp(rectangle.y + rectangle.height, 0.0, 1.0);
  if (!(right > left) || !(bottom > top)) return std::nullopt;
  return FactRectangle{left, top, right - left, bottom - top};
}

int degreesOfOrientation(int exifOrientation) {
  switch (exifOrientation) {
    case 3:
    case 4:
      return 180;
    case 5:
    case 6:
      return 90;
    case 7:
    case 8:
      return 270;
    default:
      return 0;
  }
}

bool isEdited(const PhotoFacts& photo, std::optional<int> exifOrientation) {
  if (photo.isAdjusted) return true;
  return photo.mayBeTurned && exifOrientation && degreesOfOrientation(*exifOrientation) != photo.rotation;
}

}  // namespace moxtel
