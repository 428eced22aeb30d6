// Reference-counted storage for Value: immutable text, and a copy-on-write box for everything larger than a
// word.
//
// What refers to it is a value: copies share storage, no copy sees another's changes. Counts are atomic, so
// copies may be used and destroyed on different threads; one object, as any value, is used by one thread at a
// time.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "value/Slab.h"

namespace moxtel {

class Value;

// What all storage begins with: the number of its holders, and whether it stands in a slab.
class Counted {
 public:
  explicit Counted(bool inSlab = false) noexcept : references_(inSlab ? kInSlab + 1 : 1) {}
  void hold() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
  // The same without a locked instruction, while no other thread can reach any of the holders.
  void holdUnpublished() noexcept {
    references_.store(references_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  }
  // Whether that was the last holder, who must now free the storage. A single holder need not lock anything:
  // nobody else is there to come by another hold.
  [[nodiscard]] bool release() noexcept {
    return isSole() || (references_.fetch_sub(1, std::memory_order_acq_rel) & ~kInSlab) == 1;
  }
  bool isSole() const noexcept { return (references_.load(std::memory_order_acquire) & ~kInSlab) == 1; }
  bool isInSlab() const noexcept { return (references_.load(std::memory_order_relaxed) & kInSlab) != 0; }

 private:
  static constexpr std::uint32_t kInSlab = 1u << 31;

  std::atomic<std::uint32_t> references_;
};

// Storage stands in the slab when there is one and it is small enough.
inline bool isForSlab(const Slab* slab, std::size_t bytes) noexcept {
  return slab && bytes <= Slab::kLargestPart;
}
inline void* allocateStorage(Slab* slab, std::size_t bytes) {
  return isForSlab(slab, bytes) ? slab->allocate(bytes) : ::operator new(bytes);
}
inline void freeStorage(bool inSlab, void* memory) noexcept {
  if (inSlab) {
    Slab::free(memory);
  } else {
    ::operator delete(memory);
  }
}

// A T that holders share until one of them writes.
template <class T>
struct Box final : Counted {
  explicit Box(T v, bool inSlab = false) : Counted(inSlab), value(std::move(v)) {}
  T value;
};

// Immutable UTF-8 text in one allocation. 8 bytes wide, so that a dictionary key costs a pointer.
// At most 2^32 - 1 bytes; longer input is cut there.
class Text final {
 public:
  Text() noexcept = default;
  Text(std::string_view text) : rep_(make(text)) {}         // NOLINT: texts come from literals everywhere
  Text(const char* text) : Text(std::string_view(text)) {}  // NOLINT
  Text(const std::string& text) : Text(std::string_view(text)) {}  // NOLINT
  Text(std::string_view text, Slab* slab) : rep_(make(text, slab)) {}
  Text(const Text& other) noexcept : rep_(other.rep_) {
    if (rep_) rep_->hold();
  }
  Text(Text&& other) noexcept : rep_(std::exchange(other.rep_, nullptr)) {}
  Text& operator=(Text other) noexcept {
    std::swap(rep_, other.rep_);
    return *this;
  }
  ~Text() { release(rep_); }

  std::string_view view() const noexcept { return viewOf(rep_); }
  operator std::string_view() const noexcept { return view(); }  // NOLINT
  std::string str() const { return std::string(view()); }
  bool empty() const noexcept { return !rep_; }
  std::size_t size() const noexcept { return rep_ ? rep_->size : 0; }

  // The storage's address: equal for copies of one text, so that a writer need not hash a shared key again.
  const void* identity() const noexcept { return rep_; }
  // Whether another copy holds the storage.
  bool isShared() const noexcept { return rep_ && !rep_->isSole(); }
  // A cheaper copy, while no other thread can reach any copy of this text.
  Text unpublishedCopy() const noexcept {
    if (rep_) rep_->holdUnpublished();
    return Text(rep_);
  }

  friend bool operator==(const Text& a, const Text& b) noexcept {
    return a.rep_ == b.rep_ || a.view() == b.view();
  }
  friend bool operator==(const Text& a, std::string_view b) noexcept { return a.view() == b; }
  friend bool operator==(const Text& a, const std::string& b) noexcept { return a.view() == b; }
  friend bool operator==(const Text& a, const char* b) noexcept { return a.view() == b; }

 private:
  friend class Value;
  struct Rep : Counted {
    Rep(std::uint32_t count, bool inSlab) noexcept : Counted(inSlab), size(count) {}
    std::uint32_t size;
  };
  // Takes over one hold.
  explicit Text(Rep* rep) noexcept : rep_(rep) {}

  static Rep* make(std::string_view text, Slab* slab = nullptr) {
    if (text.empty()) return nullptr;
    const auto size = static_cast<std::uint32_t>(text.size() > UINT32_MAX ? UINT32_MAX : text.size());
    const std::size_t bytes = sizeof(Rep) + size;
    Rep* rep = ::new (allocateStorage(slab, bytes)) Rep(size, isForSlab(slab, bytes));
    std::memcpy(reinterpret_cast<char*>(rep + 1), text.data(), size);
    return rep;
  }
  static std::string_view viewOf(const Rep* rep) noexcept {
    return rep ? std::string_view(reinterpret_cast<const char*>(rep + 1), rep->size) : std::string_view();
  }
  static void release(Rep* rep) noexcept {
    if (rep && rep->release()) destroy(rep);
  }
  static void destroy(Rep* rep) noexcept {
    const bool inSlab = rep->isInSlab();
    rep->~Rep();
    freeStorage(inSlab, rep);
  }

  Rep* rep_ = nullptr;
};

// A box that copies share until one of them writes; there is none before the first write.
template <class T>
class Shared final {
 public:
  Shared() noexcept = default;
  Shared(const Shared& other) noexcept : box_(other.box_) {
    if (box_) box_->hold();
  }
  Shared(Shared&& other) noexcept : box_(std::exchange(other.box_, nullptr)) {}
  Shared& operator=(Shared other) noexcept {
    std::swap(box_, other.box_);
    return *this;
  }
  ~Shared() {
    if (box_ && box_->release()) delete box_;
  }
  explicit operator bool() const noexcept { return box_ != nullptr; }
  const T& operator*() const noexcept { return box_->value; }
  const T* operator->() const noexcept { return &box_->value; }
  // Whether this holder may write without a copy.
  bool isSole() const noexcept { return box_ && box_->isSole(); }
  // The T to write to, which must be this holder's own: see isSole.
  T& own() noexcept { return box_->value; }
  void reset(T value) { *this = Shared(new Box<T>(std::move(value))); }
  const void* identity() const noexcept { return box_; }
  Shared unpublishedCopy() const noexcept {
    if (box_) box_->holdUnpublished();
    return Shared(box_);
  }

 private:
  // Takes over one hold.
  explicit Shared(Box<T>* box) noexcept : box_(box) {}
  Box<T>* box_ = nullptr;
};

}  // namespace moxtel
