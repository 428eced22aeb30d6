// The reader of flattened PSDs. The input is the file.
#include "fuzz/FuzzInput.h"
#include "pictures/codec/FlatPsd.h"
#include "pictures/codec/PixelBuffer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto picture = moxtel::flatPsd({data, size});
  if (!picture) return 0;
  moxtel::fuzz::require(moxtel::isDecodableSize(picture->width, picture->height));
  const std::size_t pixels = std::size_t{picture->width} * picture->height;
  moxtel::fuzz::require(picture->samples.size() == picture->samplesPerPixel() * pixels);
  moxtel::fuzz::require(pixels <= size * 64);
  return 0;
}
