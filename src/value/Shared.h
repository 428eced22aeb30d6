// Reference-counted storage for Value: immutable text, and a copy-on-write box for everything larger than a
// word.
//
// Both are values: copies share storage, no copy sees another's changes. Counts are atomic, so copies may be
// used and destroyed on different threads; one object, as any value, is used by one thread at a time.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <utility>

namespace moxtel {

// Immutable UTF-8 text in one allocation. 8 bytes wide, so that a dictionary key costs a pointer.
// At most 2^32 - 1 bytes; longer input is cut there.
class Text final {
 public:
  Text() noexcept = default;
  Text(std::string_view text) : rep_(make(text)) {}         // NOLINT: texts come from literals everywhere
  Text(const char* text) : Text(std::string_view(text)) {}  // NOLINT
  Text(const std::string& text) : Text(std::string_view(text)) {}  // NOLINT
  Text(const Text& other) noexcept : rep_(other.rep_) {
    if (rep_) rep_->references.fetch_add(1, std::memory_order_relaxed);
  }
  Text(Text&& other) noexcept : rep_(std::exchange(other.rep_, nullptr)) {}
  Text& operator=(Text other) noexcept {
    std::swap(rep_, other.rep_);
    return *this;
  }
  ~Text() { release(); }

  std::string_view view() const noexcept {
    return rep_ ? std::string_view(reinterpret_cast<const char*>(rep_ + 1), rep_->size) : std::string_view();
  }
  operator std::string_view() const noexcept { return view(); }  // NOLINT
  std::string str() const { return std::string(view()); }
  bool empty() const noexcept { return !rep_; }
  std::size_t size() const noexcept { return rep_ ? rep_->size : 0; }

  // The storage's address: equal for copies of one text, so that a writer need not hash a shared key again.
  const void* identity() const noexcept { return rep_; }
  // Whether another copy holds the storage.
  bool isShared() const noexcept { return rep_ && rep_->references.load(std::memory_order_relaxed) != 1; }

  friend bool operator==(const Text& a, const Text& b) noexcept {
    return a.rep_ == b.rep_ || a.view() == b.view();
  }
  friend bool operator==(const Text& a, std::string_view b) noexcept { return a.view() == b; }
  friend bool operator==(const Text& a, const std::string& b) noexcept { return a.view() == b; }
  friend bool operator==(const Text& a, const char* b) noexcept { return a.view() == b; }

 private:
  struct Rep {
    std::atomic<std::uint32_t> references;
    std::uint32_t size;
  };

  static Rep* make(std::string_view text) {
    if (text.empty()) return nullptr;
    const auto size = static_cast<std::uint32_t>(text.size() > UINT32_MAX ? UINT32_MAX : text.size());
    Rep* rep = new (::operator new(sizeof(Rep) + size)) Rep{{1}, size};
    std::memcpy(reinterpret_cast<char*>(rep + 1), text.data(), size);
    return rep;
  }
  void release() noexcept {
    if (rep_ && rep_->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      rep_->~Rep();
      ::operator delete(rep_);
    }
  }

  Rep* rep_ = nullptr;
};

// A T that copies share until one of them writes.
template <class T>
class Shared final {
 public:
  explicit Shared(T value) : box_(new Box(std::move(value))) {}
  Shared(const Shared& other) noexcept : box_(other.box_) {
    if (box_) box_->references.fetch_add(1, std::memory_order_relaxed);
  }
  Shared(Shared&& other) noexcept : box_(std::exchange(other.box_, nullptr)) {}
  Shared& operator=(Shared other) noexcept {
    std::swap(box_, other.box_);
    return *this;
  }
  ~Shared() {
    if (box_ && box_->references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete box_;
  }

  const T& get() const noexcept { return box_->value; }
  // The value to write to: this holder's own from here on.
  T& edit() {
    if (box_->references.load(std::memory_order_acquire) != 1) *this = Shared(box_->value);
    return box_->value;
  }
  const void* identity() const noexcept { return box_; }
  bool isShared() const noexcept { return box_->references.load(std::memory_order_relaxed) != 1; }

 private:
  struct Box {
    explicit Box(T v) : value(std::move(v)) {}
    std::atomic<std::uint32_t> references{1};
    T value;
  };
  Box* box_;
};

}  // namespace moxtel
