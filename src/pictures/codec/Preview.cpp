#include "pictures/codec/Preview.h"

#include "pictures/codec/Jpeg.h"
#include "pictures/codec/Rotation.h"
#include "pictures/codec/ShrunkPicture.h"

namespace moxtel {

std::optional<Bytes> previewJpegOf(PictureSource& source, std::uint32_t side, int degrees) {
  ShrunkPicture shrunk(source, side);
  if (degrees == 0) return jpegOf(shrunk);
  const auto stored = pixelsOf(shrunk);
  const auto turned = stored ? imageRotatedBy(*stored, -degrees) : std::nullopt;
  if (!turned) return std::nullopt;
  PixelBufferSource upright(*turned);
  return jpegOf(upright);
}

}  // namespace moxtel
