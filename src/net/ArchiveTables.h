// The tables by which the archive writer finds equal values: open addressing, no deletion, one writer each.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

namespace moxtel {

// Spreads the bits of a word; the high ones are good to take an index from.
inline std::uint64_t mixedBits(std::uint64_t bits) noexcept {
  bits ^= bits >> 32;
  bits *= 0x9E3779B97F4A7C15u;
  return bits ^ (bits >> 29);
}

// 64-bit keys to archive indexes. Index 0 is never an entry's: it marks a free slot.
class NumberTable final {
 public:
  // The index stored for the key, 0 for one that was not there: the caller stores it then. Valid until the
  // next call.
  std::uint32_t& operator[](std::uint64_t key) {
    if (used_ * 2 >= slots_.size()) grow();
    Slot* slot = place(key);
    if (slot->index == 0) {
      slot->key = key;
      ++used_;
    }
    return slot->index;
  }

 private:
  struct Slot {
    std::uint64_t key = 0;
    std::uint32_t index = 0;
  };

  Slot* place(std::uint64_t key) {
    const std::size_t mask = slots_.size() - 1;
    std::size_t i = static_cast<std::size_t>(mixedBits(key) >> 20) & mask;
    while (slots_[i].index != 0 && slots_[i].key != key) i = (i + 1) & mask;
    return &slots_[i];
  }
  void grow() {
    std::vector<Slot> old(slots_.empty() ? 32 : slots_.size() * 4);
    old.swap(slots_);
    for (const Slot& slot : old) {
      if (slot.index != 0) *place(slot.key) = slot;
    }
  }

  std::vector<Slot> slots_;
  std::size_t used_ = 0;
};

// Texts to archive indexes; borrows the texts.
class TextTable final {
 public:
  // As NumberTable's.
  std::uint32_t& operator[](std::string_view text) {
    if (entries_.size() * 2 >= slots_.size()) grow();
    const std::uint32_t tag = hashOf(text);
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t i = tag & mask;; i = (i + 1) & mask) {
      Slot& slot = slots_[i];
      if (slot.entry == 0) {
        entries_.push_back({text, 0});
        slot = {tag, static_cast<std::uint32_t>(entries_.size())};
        return entries_.back().index;
      }
      Entry& entry = entries_[slot.entry - 1];
      if (slot.tag == tag && entry.text == text) return entry.index;
    }
  }

 private:
  struct Slot {
    std::uint32_t tag = 0;
    std::uint32_t entry = 0;  // one more than the position in entries_; 0: free
  };
  struct Entry {
    std::string_view text;
    std::uint32_t index;
  };

  // Seeded with an address, which differs from run to run: nobody can prepare texts that collide.
  std::uint32_t hashOf(std::string_view text) const noexcept {
    std::uint64_t hash = mixedBits(reinterpret_cast<std::uintptr_t>(this) + text.size());
    const char* p = text.data();
    std::size_t left = text.size();
    for (; left >= 8; left -= 8, p += 8) {
      std::uint64_t word = 0;
      std::memcpy(&word, p, 8);
      hash = mixedBits(hash ^ word) * 0xD6E8FEB86659FD93u;
    }
    std::uint64_t rest = 0;
    if (left > 0) std::memcpy(&rest, p, left);
    return static_cast<std::uint32_t>(mixedBits(hash ^ rest) >> 24);
  }
  void grow() {
    std::vector<Slot> old(slots_.empty() ? 32 : slots_.size() * 4);
    old.swap(slots_);
    const std::size_t mask = slots_.size() - 1;
    for (const Slot& slot : old) {
      if (slot.entry == 0) continue;
      std::size_t i = slot.tag & mask;
      while (slots_[i].entry != 0) i = (i + 1) & mask;
      slots_[i] = slot;
    }
  }

  std::vector<Slot> slots_;
  std::vector<Entry> entries_;
};

}  // namespace moxtel
