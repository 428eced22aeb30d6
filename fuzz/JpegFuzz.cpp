// The JPEG decoder and encoder of the server. The input is the file. An encoded result can be read again and
// has the same size, color model and profile; a decoded result is complete.
#include "fuzz/FuzzInput.h"
#include "pictures/codec/Jpeg.h"

namespace moxtel::fuzz {
namespace {

// Rejects large pictures: each would take as long as thousands of small ones, and the tests cover them.
// Checks every marker that could be the one with the size.
bool isSmall(std::span<const std::uint8_t> file) {
  constexpr std::uint64_t kMostPixels = 1 << 18;
  for (std::size_t at = 0; at + 9 <= file.size(); ++at) {
    if (file[at] != 0xFF || (file[at + 1] & 0xF0) != 0xC0) continue;
    const std::uint64_t height = file[at + 5] << 8 | file[at + 6];
    const std::uint64_t width = file[at + 7] << 8 | file[at + 8];
    if (height * width > kMostPixels) return false;
  }
  return true;
}

void requireWhole(const PixelBuffer& image) {
  require(isDecodableSize(image.width, image.height));
  require(image.pixels.size() == image.rowBytes() * image.height);
}

void requireSame(const PixelBuffer& before, const PixelBuffer& after) {
  require(after.width == before.width && after.height == before.height && after.layout == before.layout);
  require(after.iccProfile == before.iccProfile);
}

}  // namespace
}  // namespace moxtel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace moxtel;
  using fuzz::require;
  if (!fuzz::isSmall({data, size})) return 0;
  const JpegPixels pixels = pixelsOfJpeg({data, size});
  const JpegResult encoded = reencodedJpeg({data, size});
  require((pixels.outcome == JpegOutcome::OtherInks) == (encoded.outcome == JpegOutcome::OtherInks));
  if (pixels.outcome == JpegOutcome::Done) fuzz::requireWhole(pixels.image);
  if (encoded.outcome != JpegOutcome::Done) return 0;
  require(reencodedJpeg(encoded.jpeg).outcome == JpegOutcome::Done);
  // Planes whose sizes do not divide evenly are encoded again, but libjpeg cannot convert them to pixels.
  if (pixels.outcome != JpegOutcome::Done) return 0;
  const JpegPixels again = pixelsOfJpeg(encoded.jpeg);
  require(again.outcome == JpegOutcome::Done);
  fuzz::requireWhole(again.image);
  fuzz::requireSame(pixels.image, again.image);
  return 0;
}
