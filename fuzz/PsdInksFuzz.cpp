// The reader of a PSD's inks. The input is the file.
#include "fuzz/FuzzInput.h"
#include "pictures/PixelBuffer.h"
#include "pictures/PsdInks.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto inks = moxtel::inksOfPsd({data, size});
  if (!inks) return 0;
  moxtel::fuzz::require(moxtel::isDecodableSize(inks->width, inks->height));
  moxtel::fuzz::require(inks->samples.size() == std::size_t{4} * inks->width * inks->height);
  moxtel::fuzz::require(inks->samples.size() <= size * 64);
  return 0;
}
