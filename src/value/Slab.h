// Storage for the many small parts of a large value that is built at once: parts stand one after another in
// blocks of a huge page, and a block goes back to the system when the last of its parts has been freed. So
// one part that is kept keeps its whole block; that is why small values do without.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "value/Pages.h"

namespace moxtel {

class Slab final {
 public:
  // A part's most bytes. Parts begin at multiples of kAlignment.
  static constexpr std::size_t kLargestPart = kHugePage / 32;
  static constexpr std::size_t kAlignment = 8;

  Slab() noexcept = default;
  Slab(const Slab&) = delete;
  Slab& operator=(const Slab&) = delete;
  // The parts live on.
  ~Slab() { close(); }

  // From 1 byte to kLargestPart. One thread. Throws std::bad_alloc.
  void* allocate(std::size_t bytes) {
    const std::size_t taken = (bytes + kAlignment - 1) / kAlignment * kAlignment;
    if (taken > left_) open();
    void* part = next_;
    next_ += taken;
    left_ -= taken;
    ++parts_;
    return part;
  }
  // Of any slab, on any thread.
  static void free(void* part) noexcept {
    auto* bytes = static_cast<std::uint8_t*>(part);
    auto* block = reinterpret_cast<Header*>(bytes - reinterpret_cast<std::uintptr_t>(bytes) % kHugePage);
    release(block, 1);
  }

 private:
  struct Header {
    std::atomic<std::uint32_t> holds;  // parts that are not freed, and kOpen while parts are added
  };
  static constexpr std::uint32_t kOpen = 1u << 30;

  static void release(Header* block, std::uint32_t holds) noexcept {
    if (block->holds.fetch_sub(holds, std::memory_order_acq_rel) == holds) freeHugePages(block, kHugePage);
  }
  void open();
  void close() noexcept;

  Header* block_ = nullptr;
  std::uint8_t* next_ = nullptr;
  std::size_t left_ = 0;
  std::uint32_t parts_ = 0;
};

}  // namespace moxtel
