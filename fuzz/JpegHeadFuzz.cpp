// The header of a JPEG, and the same file with another orientation. The first byte is the orientation, the
// rest is the file.
#include "fuzz/FuzzInput.h"
#include "web/files/JpegHead.h"

namespace {

using moxtel::JpegHead;
using moxtel::properties::ByteSource;
using moxtel::properties::FileBytes;

void check(FileBytes file, int orientation) {
  ByteSource source(file);
  const auto head = JpegHead::of(source);
  if (!head) return;
  moxtel::fuzz::require(head->width() > 0 && head->height() > 0);
  moxtel::fuzz::require(head->orientation() >= 1 && head->orientation() <= 8);
  const auto turned = head->turned(source, orientation);
  if (!turned) return;
  moxtel::fuzz::require(turned->rest <= file.size() && turned->start.size() <= turned->rest + 36);
  std::string all = turned->start;
  all += moxtel::properties::textOf(file.subspan(turned->rest));
  ByteSource again(moxtel::properties::bytesOf(all));
  const auto other = JpegHead::of(again);
  moxtel::fuzz::require(other && other->orientation() == orientation);
  moxtel::fuzz::require(other->width() == head->width() && other->height() == head->height());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  check(FileBytes(data + 1, size - 1), data[0] % 8 + 1);
  return 0;
}
