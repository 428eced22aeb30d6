// Tables of the archive's writer and reader. Most of the time goes into memory that is touched for the first
// time, so these are narrow, sized once where the size can be guessed, and grow without copies where the
// system can. One thread each; nothing is ever removed.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>
#include <utility>

#include "value/Pages.h"

namespace moxtel {

// Spreads the bits of a word; the high ones are good to take an index from.
inline std::uint64_t mixedBits(std::uint64_t bits) noexcept {
  bits ^= bits >> 32;
  bits *= 0x9E3779B97F4A7C15u;
  return bits ^ (bits >> 29);
}

// Plain words in a row.
template <class T>
class Words final {
 public:
  static_assert(std::is_trivially_copyable_v<T>);
  std::size_t size() const noexcept { return size_; }
  const T* begin() const noexcept { return words_; }
  const T* end() const noexcept { return words_ + size_; }
  T& operator[](std::size_t index) noexcept { return words_[index]; }
  void append(T value) {
    if (size_ == capacity_) reserve(size_ + 1);
    words_[size_++] = value;
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
    block_.grow(capacity * sizeof(T));
    words_ = static_cast<T*>(block_.get());
    capacity_ = block_.size() / sizeof(T);
  }

  Block block_;
  T* words_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

// A hash of the words that are mixed in, one after another. It is seeded with an address, which differs from
// run to run: nobody can prepare texts that collide.
class LeafHash final {
 public:
  explicit LeafHash(std::uint64_t seed) noexcept : bits_(mixedBits(seed)) {}
  void mix(std::uint64_t word) noexcept { bits_ = mixedBits(bits_ ^ word) * 0xD6E8FEB86659FD93u; }
  void mixBytes(const std::uint8_t* bytes, std::size_t count) noexcept;
  std::uint32_t value() const noexcept { return static_cast<std::uint32_t>(mixedBits(bits_) >> 24); }

 private:
  std::uint64_t bits_;
};

// Bytes are taken eight at a time, the last eight perhaps twice.
inline std::uint64_t eightBytes(const void* place) noexcept {
  std::uint64_t word = 0;
  std::memcpy(&word, place, sizeof word);
  return word;
}

inline std::uint32_t fourBytes(const void* place) noexcept {
  std::uint32_t word = 0;
  std::memcpy(&word, place, sizeof word);
  return word;
}

inline void copyFewBytes(std::uint8_t* to, const std::uint8_t* from, std::size_t count) noexcept {
  if (count >= 4) {
    const std::uint32_t first = fourBytes(from);
    const std::uint32_t last = fourBytes(from + count - 4);
    std::memcpy(to, &first, sizeof first);
    std::memcpy(to + count - 4, &last, sizeof last);
  } else {
    for (std::size_t i = 0; i < count; ++i) to[i] = from[i];
  }
}

// Fewer than eight bytes in one word; it tells them apart from others of the same number.
inline std::uint64_t fewBytes(const std::uint8_t* bytes, std::size_t count) noexcept {
  if (count >= 4) return fourBytes(bytes) | static_cast<std::uint64_t>(fourBytes(bytes + count - 4)) << 32;
  if (count == 0) return 0;
  return bytes[0] | static_cast<std::uint64_t>(bytes[count / 2]) << 8 |
         static_cast<std::uint64_t>(bytes[count - 1]) << 16;
}

inline void LeafHash::mixBytes(const std::uint8_t* bytes, std::size_t count) noexcept {
  std::size_t i = 0;
  for (; i + 8 <= count; i += 8) mix(eightBytes(bytes + i));
  if (i < count) mix(count < 8 ? fewBytes(bytes, count) : eightBytes(bytes + count - 8));
}

inline bool sameBytes(const std::uint8_t* a, const std::uint8_t* b, std::size_t count) noexcept {
  if (count < 8) return fewBytes(a, count) == fewBytes(b, count);
  std::size_t i = 0;
  for (; i + 8 <= count; i += 8) {
    if (eightBytes(a + i) != eightBytes(b + i)) return false;
  }
  return eightBytes(a + count - 8) == eightBytes(b + count - 8);
}

// Finds equal texts and numbers by their written bytes. A slot tells nearly always by itself that it holds
// another; where the bytes of an index stand, the caller knows.
class LeafTable final {
 public:
  explicit LeafTable(std::size_t expected) { resize(std::bit_ceil(expected + expected / 4 + 32)); }

  // For what takes so many bytes.
  LeafHash hash(std::size_t size) const noexcept {
    return LeafHash(reinterpret_cast<std::uintptr_t>(this) + size);
  }
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

  void resize(std::size_t capacity) {
    block_ = Block(capacity * sizeof(Slot));
    slots_ = static_cast<Slot*>(block_.get());
    capacity_ = capacity;
  }
  void grow() {
    const Block old = std::move(block_);
    const Slot* kept = slots_;
    const std::size_t oldCapacity = capacity_;
    resize(capacity_ * 2);
    for (std::size_t s = 0; s < oldCapacity; ++s) {
      if (kept[s].index == 0) continue;
      std::size_t i = kept[s].hash & (capacity_ - 1);
      while (slots_[i].index != 0) i = (i + 1) & (capacity_ - 1);
      slots_[i] = kept[s];
    }
  }

  Block block_;
  Slot* slots_ = nullptr;
  std::size_t capacity_ = 0;
  std::size_t used_ = 0;
};

}  // namespace moxtel
