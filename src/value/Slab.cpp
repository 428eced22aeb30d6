#include "value/Slab.h"

#include <new>

namespace moxtel {

void Slab::open() {
  void* pages = allocateHugePages(kHugePage);
  close();
  constexpr std::size_t kHead = 64;  // a line of the cache of its own
  block_ = ::new (pages) Header{kOpen};
  next_ = static_cast<std::uint8_t*>(pages) + kHead;
  left_ = kHugePage - kHead;
  parts_ = 0;
}

// Parts are counted when no more are added: until then kOpen, which no number of them reaches, stands for
// them.
void Slab::close() noexcept {
  if (block_) release(block_, kOpen - parts_);
  block_ = nullptr;
  left_ = 0;
}

}  // namespace moxtel
