// What the archive writer keeps while it walks a value. Most of the time goes into memory that is touched for
// the first time, so these tables are narrow, sized once where the size can be guessed, and grow without
// copies. One writer each; nothing is ever removed.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>
#include <type_traits>

namespace moxtel {

// Spreads the bits of a word; the high ones are good to take an index from.
inline std::uint64_t mixedBits(std::uint64_t bits) noexcept {
  bits ^= bits >> 32;
  bits *= 0x9E3779B97F4A7C15u;
  return bits ^ (bits >> 29);
}

struct FreeMemory {
  void operator()(void* memory) const noexcept { std::free(memory); }
};
template <class T>
using Memory = std::unique_ptr<T[], FreeMemory>;

// Plain words in a row. Grows through realloc, which moves large blocks by their page tables.
template <class T>
class Words final {
 public:
  static_assert(std::is_trivially_copyable_v<T>);
  std::size_t size() const noexcept { return size_; }
  const T* begin() const noexcept { return memory_.get(); }
  const T* end() const noexcept { return memory_.get() + size_; }
  T& operator[](std::size_t index) noexcept { return memory_[index]; }
  void append(T value) {
    if (size_ == capacity_) reserve(size_ + 1);
    memory_[size_++] = value;
  }
  // Room for that many more, contents undefined; returns the index of the first.
  std::size_t extend(std::size_t count) {
    if (capacity_ - size_ < count) reserve(size_ + count);
    size_ += count;
    return size_ - count;
  }
  // Drops the last ones.
  void shrink(std::size_t count) noexcept { size_ -= count; }

 private:
  void reserve(std::size_t atLeast) {
    const std::size_t capacity = std::max<std::size_t>({atLeast, capacity_ * 2, 64});
    void* moved = std::realloc(memory_.get(), capacity * sizeof(T));
    if (!moved) throw std::bad_alloc();
    static_cast<void>(memory_.release());
    memory_.reset(static_cast<T*>(moved));
    capacity_ = capacity;
  }

  Memory<T> memory_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

// Finds equal texts and numbers by their written bytes. A slot tells nearly always by itself that it holds
// another; where the bytes of an index stand, the caller knows.
class LeafTable final {
 public:
  explicit LeafTable(std::size_t expected) { resize(std::bit_ceil(expected + expected / 4 + 32)); }

  // Seeded with an address, which differs from run to run: nobody can prepare texts that collide.
  std::uint32_t hashOf(std::string_view bytes) const noexcept;
  // Fetches the memory that findOrStore will look at first.
  void prefetch(std::uint32_t hash) const noexcept { __builtin_prefetch(&slots_[hash & (capacity_ - 1)], 1); }

  // The index of an equal leaf with that hash, or `index` after storing it. `same(i)`: whether index i has
  // the bytes in question.
  template <class Same>
  std::uint32_t findOrStore(std::uint32_t hash, std::uint32_t index, Same&& same) {
    if (used_ >= capacity_ / 4 * 3) grow();
    std::size_t i = hash & (capacity_ - 1);
    for (; slots_[i].index != 0; i = (i + 1) & (capacity_ - 1)) {
      if (slots_[i].hash == hash && same(slots_[i].index)) return slots_[i].index;
    }
    slots_[i] = {hash, index};
    ++used_;
    return index;
  }

 private:
  struct Slot {
    std::uint32_t hash;
    std::uint32_t index;  // in $objects; 0, which is no leaf's: free
  };

  // calloc: of a large block only what is used is ever touched.
  void resize(std::size_t capacity) {
    slots_.reset(static_cast<Slot*>(std::calloc(capacity, sizeof(Slot))));
    if (!slots_) throw std::bad_alloc();
    capacity_ = capacity;
  }
  void grow() {
    const Memory<Slot> old = std::move(slots_);
    const std::size_t oldCapacity = capacity_;
    resize(capacity_ * 2);
    for (std::size_t s = 0; s < oldCapacity; ++s) {
      if (old[s].index == 0) continue;
      std::size_t i = old[s].hash & (capacity_ - 1);
      while (slots_[i].index != 0) i = (i + 1) & (capacity_ - 1);
      slots_[i] = old[s];
    }
  }

  Memory<Slot> slots_;
  std::size_t capacity_ = 0;
  std::size_t used_ = 0;
};

inline std::uint32_t LeafTable::hashOf(std::string_view bytes) const noexcept {
  std::uint64_t hash = mixedBits(reinterpret_cast<std::uintptr_t>(this) + bytes.size());
  const char* p = bytes.data();
  std::size_t left = bytes.size();
  for (; left >= 8; left -= 8, p += 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, p, 8);
    hash = mixedBits(hash ^ word) * 0xD6E8FEB86659FD93u;
  }
  std::uint64_t rest = 0;
  for (; left > 0; --left) rest = rest << 8 | static_cast<unsigned char>(*p++);
  return static_cast<std::uint32_t>(mixedBits(hash ^ rest) >> 24);
}

}  // namespace moxtel
