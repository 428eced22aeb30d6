// Reference-counted storage for Value: immutable text, and a box for everything larger than a word that is
// copied when a holder writes to it.
//
// Whatever refers to such storage behaves as a value: copies share the storage, and a change to one copy is
// not visible in another. The counts are atomic, so copies may be used and destroyed on different threads. A
// single object, as any value, is used by one thread at a time.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <utility>

namespace moxtel {

class Value;

// The head of all shared storage: the number of its holders.
class Counted {
 public:
  void hold() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
  // Whether that was the last holder, which must now free the storage. A sole holder needs no locked
  // instruction: no other holder exists from which a copy could be made.
  [[nodiscard]] bool release() noexcept {
    return isSole() || references_.fetch_sub(1, std::memory_order_acq_rel) == 1;
  }
  bool isSole() const noexcept { return references_.load(std::memory_order_acquire) == 1; }

 private:
  std::atomic<std::uint32_t> references_{1};
};

// A T that its holders share until one of them writes.
template <class T>
struct Box final : Counted {
  explicit Box(T v) : value(std::move(v)) {}
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
  Text(const Text& other) noexcept : rep_(other.rep_) {
    if (rep_) rep_->hold();
  }
  Text(Text&& other) noexcept : rep_(std::exchange(other.rep_, nullptr)) {}
  Text& operator=(Text other) noexcept {
    std::swap(rep_, other.rep_);
    return *this;
  }
  ~Text() {
    if (rep_ && rep_->release()) destroy(rep_);
  }

  std::string_view view() const noexcept { return viewOf(rep_); }
  operator std::string_view() const noexcept { return view(); }  // NOLINT
  std::string str() const { return std::string(view()); }
  bool empty() const noexcept { return !rep_; }
  std::size_t size() const noexcept { return rep_ ? rep_->size : 0; }

  friend bool operator==(const Text& a, const Text& b) noexcept {
    return a.rep_ == b.rep_ || a.view() == b.view();
  }
  friend bool operator==(const Text& a, std::string_view b) noexcept { return a.view() == b; }
  friend bool operator==(const Text& a, const std::string& b) noexcept { return a.view() == b; }
  friend bool operator==(const Text& a, const char* b) noexcept { return a.view() == b; }

 private:
  friend class Value;
  // The characters follow in the same allocation.
  struct Rep : Counted {
    explicit Rep(std::uint32_t count) noexcept : size(count) {}
    std::uint32_t size;
  };
  // Takes over one hold.
  explicit Text(Rep* rep) noexcept : rep_(rep) {}

  static Rep* make(std::string_view text) {
    if (text.empty()) return nullptr;
    const auto size = static_cast<std::uint32_t>(text.size() > UINT32_MAX ? UINT32_MAX : text.size());
    Rep* rep = ::new (::operator new(sizeof(Rep) + size)) Rep(size);
    std::memcpy(reinterpret_cast<char*>(rep + 1), text.data(), size);
    return rep;
  }
  static std::string_view viewOf(const Rep* rep) noexcept {
    return rep ? std::string_view(reinterpret_cast<const char*>(rep + 1), rep->size) : std::string_view();
  }
  static void destroy(Rep* rep) noexcept {
    rep->~Rep();
    ::operator delete(rep);
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
  // The T to write to, which no other holder may share: see isSole.
  T& own() noexcept { return box_->value; }
  void reset(T value) { *this = Shared(new Box<T>(std::move(value))); }
  // Equal for copies.
  const void* identity() const noexcept { return box_; }

 private:
  // Takes over one hold.
  explicit Shared(Box<T>* box) noexcept : box_(box) {}
  Box<T>* box_ = nullptr;
};

}  // namespace moxtel
