// The boxes of a movie file.
#include <cmath>

#include "fuzz/FuzzInput.h"
#include "web/files/MovieKind.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  moxtel::properties::ByteSource file(moxtel::properties::FileBytes(data, size));
  const moxtel::MovieKind kind = moxtel::movieKindOf(file);
  moxtel::fuzz::require(std::isfinite(kind.seconds) && kind.seconds >= 0);
  moxtel::fuzz::require(kind.plays == moxtel::MovieKind::Plays::Nowhere || kind.format == "mov");
  moxtel::fuzz::require(kind.plays == moxtel::MovieKind::Plays::Nowhere || kind.video.size() == 4);
  return 0;
}
