// A hash table of the texts and numbers in an archive, which finds equal ones by their encoded bytes. One
// thread; nothing is ever removed.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <string_view>
#include <utility>
#include <vector>

namespace moxtel {

// A hash of the bytes. Its seed differs from process to process, so that no client can prepare texts that
// collide.
inline std::uint32_t leafHash(std::string_view bytes) {
  static const std::uint64_t kSeed = std::uint64_t{std::random_device{}()} << 32 | std::random_device{}();
  const auto mixed = [](std::uint64_t bits) {
    bits ^= bits >> 32;
    bits *= 0x9E3779B97F4A7C15u;
    return bits ^ (bits >> 29);
  };
  std::uint64_t hash = mixed(kSeed + bytes.size());
  while (!bytes.empty()) {
    std::uint64_t word = 0;
    const std::size_t count = std::min(bytes.size(), sizeof word);
    std::memcpy(&word, bytes.data(), count);
    hash = mixed(hash ^ word) * 0xD6E8FEB86659FD93u;
    bytes.remove_prefix(count);
  }
  return static_cast<std::uint32_t>(mixed(hash) >> 24);
}

class LeafTable final {
 public:
  explicit LeafTable(std::size_t expected) : slots_(std::bit_ceil(expected + expected / 4 + 32)) {}

  // Loads the memory that findOrStore will look at first into the processor's cache.
  void prefetch(std::uint32_t hash) const noexcept { __builtin_prefetch(&slots_[home(hash)], 1); }

  // The index in $objects of an equal leaf with that hash, or `index` after storing it; `index` is not 0.
  // `same(i)` says whether the leaf with index i has the bytes in question.
  template <class Same>
  std::uint32_t findOrStore(std::uint32_t hash, std::uint32_t index, Same&& same) {
    if (used_ >= slots_.size() / 4 * 3) grow();
    std::size_t i = home(hash);
    for (; slots_[i].index != 0; i = home(i + 1)) {
      if (slots_[i].hash == hash && same(slots_[i].index)) return slots_[i].index;
    }
    slots_[i] = {hash, index};
    ++used_;
    return index;
  }

 private:
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t index = 0;  // 0: free
  };

  // The number of slots is a power of two.
  std::size_t home(std::size_t hash) const noexcept { return hash & (slots_.size() - 1); }
  void grow() {
    const std::vector<Slot> old = std::exchange(slots_, std::vector<Slot>(slots_.size() * 2));
    for (const Slot& slot : old) {
      if (slot.index == 0) continue;
      std::size_t i = home(slot.hash);
      while (slots_[i].index != 0) i = home(i + 1);
      slots_[i] = slot;
    }
  }

  std::vector<Slot> slots_;
  std::size_t used_ = 0;
};

}  // namespace moxtel
