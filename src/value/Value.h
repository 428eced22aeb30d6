// Value: the one property-list value that requests, replies, AlbumData.xml and the container, photo, face and
// metadata dictionaries are made of.
//
// A Value is 16 bytes and a value in the C++ sense: copying is cheap (storage is shared and copied on write),
// and no copy sees another's changes. Copies may be used on different threads; one object is used by one
// thread at a time. Nothing here throws but for lack of memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

#include "value/Pages.h"
#include "value/Shared.h"

namespace moxtel {

class Value;
class Array;
class Dictionary;

// An allocator that leaves bytes as they are: a buffer that a file is read into is not written twice. Large
// buffers have pages of their own.
template <class T>
struct UninitializedAllocator : std::allocator<T> {
  T* allocate(std::size_t count) {
    if (count < kOwnPagesFrom / sizeof(T)) return std::allocator<T>::allocate(count);
    if (count > SIZE_MAX / 2 / sizeof(T)) throw std::bad_array_new_length();
    return static_cast<T*>(allocatePages(count * sizeof(T)));
  }
  void deallocate(T* place, std::size_t count) noexcept {
    if (count < kOwnPagesFrom / sizeof(T)) {
      std::allocator<T>::deallocate(place, count);
    } else {
      freePages(place, count * sizeof(T));
    }
  }
  template <class U>
  struct rebind {
    using other = UninitializedAllocator<U>;
  };
  template <class U, class... Args>
  void construct(U* place, Args&&... args) {
    if constexpr (sizeof...(Args) == 0) {
      ::new (static_cast<void*>(place)) U;
    } else {
      ::new (static_cast<void*>(place)) U(std::forward<Args>(args)...);
    }
  }
};

using Bytes = std::vector<std::uint8_t, UninitializedAllocator<std::uint8_t>>;

// A moment, in seconds since 2001-01-01 00:00:00 UTC (978307200 seconds after the Unix epoch). Any double.
struct Date {
  double seconds = 0;
  friend bool operator==(const Date&, const Date&) = default;
};

inline constexpr double kReferenceDateAfterUnixEpoch = 978307200.0;

// The archive's class names tell whether a collection may be changed by its receiver; nothing else depends on
// it.
enum class Mutability : std::uint8_t { Immutable, Mutable };

class Value final {
 public:
  enum class Type : std::uint8_t { Nil, Boolean, Integer, Real, String, Data, Date, Array, Dictionary };

  Value() noexcept = default;
  Value(std::nullptr_t) noexcept {}                 // NOLINT: values are written as plain literals
  Value(bool v) noexcept : store_(v) {}             // NOLINT
  Value(double v) noexcept : store_(v) {}           // NOLINT
  Value(Text v) noexcept : store_(std::move(v)) {}  // NOLINT
  Value(std::string_view v) : store_(Text(v)) {}    // NOLINT
  Value(const std::string& v) : store_(Text(v)) {}  // NOLINT
  Value(const char* v) : store_(Text(v)) {}         // NOLINT
  Value(moxtel::Date v) noexcept : store_(v) {}     // NOLINT
  Value(Bytes v);                                   // NOLINT
  Value(Array v);                                   // NOLINT
  Value(Dictionary v);                              // NOLINT
  // Any integer; one past the range of std::int64_t keeps its unsigned value (isBeyondSigned).
  template <class Int, std::enable_if_t<std::is_integral_v<Int> && !std::is_same_v<Int, bool>, int> = 0>
  Value(Int v) noexcept {  // NOLINT
    if constexpr (std::is_unsigned_v<Int>) {
      if (v > static_cast<std::uint64_t>(INT64_MAX)) {
        store_ = static_cast<std::uint64_t>(v);
        return;
      }
    }
    store_ = static_cast<std::int64_t>(v);
  }
  // A pointer is no boolean.
  template <class T, std::enable_if_t<!std::is_same_v<std::remove_cv_t<T>, char>, int> = 0>
  Value(T*) = delete;

  Type type() const noexcept;
  bool isNil() const noexcept { return std::holds_alternative<std::monostate>(store_); }
  bool isString() const noexcept { return std::holds_alternative<Text>(store_); }
  bool isArray() const noexcept { return type() == Type::Array; }
  bool isDictionary() const noexcept { return type() == Type::Dictionary; }
  bool isData() const noexcept { return type() == Type::Data; }
  // A boolean, an integer or a real: what the platform calls a number object.
  bool isNumber() const noexcept;
  // An integer above 2^63 - 1; integerValue() saturates, unsignedValue() tells it whole.
  bool isBeyondSigned() const noexcept { return std::holds_alternative<std::uint64_t>(store_); }

  // What is held; an empty text, no bytes, an empty collection where another kind is held.
  std::string_view string() const noexcept;
  Text text() const noexcept;
  const Bytes& data() const noexcept;
  const Array& array() const noexcept;
  const Dictionary& dictionary() const noexcept;
  moxtel::Date date() const noexcept;

  // The same to write to. A value of another kind becomes an empty mutable collection first.
  Array& editArray();
  Dictionary& editDictionary();

  // The platform's typed reads: numbers are converted (out of range saturates, NaN reads 0), texts are parsed
  // as Numbers.h says, everything else, nil included, reads 0 or false.
  std::int32_t intValue() const noexcept;
  std::int64_t integerValue() const noexcept;
  std::uint64_t unsignedValue() const noexcept;
  double doubleValue() const noexcept;
  bool boolValue() const noexcept;

  // The entry of a dictionary; nil when it is absent or this is no dictionary.
  const Value& operator[](std::string_view key) const noexcept;

  // Same kind and same contents: 1, 1.0 and true are three different values; mutability does not count.
  friend bool operator==(const Value& a, const Value& b) noexcept;

  // Address of shared storage, null where there is none: equal for copies of one value.
  const void* identity() const noexcept;
  // Whether another copy holds that storage: only then can its identity be met twice.
  bool isShared() const noexcept;

 private:
  std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, Text, Shared<Bytes>, moxtel::Date,
               Shared<Array>, Shared<Dictionary>>
      store_;
};

class Array final {
 public:
  explicit Array(Mutability mutability = Mutability::Immutable) noexcept : mutability_(mutability) {}
  Array(std::initializer_list<Value> items, Mutability mutability = Mutability::Immutable)
      : items_(items), mutability_(mutability) {}
  Array(std::vector<Value> items, Mutability mutability)
      : items_(std::move(items)), mutability_(mutability) {}

  bool isMutable() const noexcept { return mutability_ == Mutability::Mutable; }
  Mutability mutability() const noexcept { return mutability_; }
  void setMutability(Mutability mutability) noexcept { mutability_ = mutability; }
  std::size_t size() const noexcept { return items_.size(); }
  bool empty() const noexcept { return items_.empty(); }
  void reserve(std::size_t count) { items_.reserve(count); }
  void append(Value value) { items_.push_back(std::move(value)); }
  const Value& operator[](std::size_t index) const noexcept { return items_[index]; }
  Value& operator[](std::size_t index) noexcept { return items_[index]; }
  std::vector<Value>& items() noexcept { return items_; }
  const std::vector<Value>& items() const noexcept { return items_; }
  auto begin() const noexcept { return items_.begin(); }
  auto end() const noexcept { return items_.end(); }
  auto begin() noexcept { return items_.begin(); }
  auto end() noexcept { return items_.end(); }

 private:
  std::vector<Value> items_;
  Mutability mutability_;
};

// A dictionary with text keys that keeps insertion order. Flat: made for few keys; past kIndexedSize entries
// lookups go through an index, so that large ones stay linear to build.
class Dictionary final {
 public:
  struct Entry {
    Text key;
    Value value;
  };
  static constexpr std::size_t kIndexedSize = 32;

  explicit Dictionary(Mutability mutability = Mutability::Immutable) noexcept : mutability_(mutability) {}
  Dictionary(std::initializer_list<Entry> entries, Mutability mutability = Mutability::Immutable);
  Dictionary(const Dictionary& other);
  Dictionary(Dictionary&&) noexcept = default;
  Dictionary& operator=(Dictionary other) noexcept;
  ~Dictionary() = default;

  bool isMutable() const noexcept { return mutability_ == Mutability::Mutable; }
  Mutability mutability() const noexcept { return mutability_; }
  void setMutability(Mutability mutability) noexcept { mutability_ = mutability; }
  std::size_t size() const noexcept { return entries_.size(); }
  bool empty() const noexcept { return entries_.empty(); }
  void reserve(std::size_t count) { entries_.reserve(count); }

  // The entry's value, or null when there is none. Valid until the dictionary changes.
  const Value* find(std::string_view key) const noexcept;
  Value* find(std::string_view key) noexcept;
  bool contains(std::string_view key) const noexcept { return find(key) != nullptr; }
  // The entry's value, nil when there is none.
  const Value& operator[](std::string_view key) const noexcept;
  // Adds an entry at the end, or replaces the value in place.
  void set(Text key, Value value);
  // Adds an entry whose key the caller knows to be new: no lookup.
  void append(Text key, Value value);
  // The same with a nil value, to be filled in before the dictionary changes again.
  Value& append(Text key);
  // Whether there was such an entry.
  bool remove(std::string_view key);
  void clear() noexcept;

  auto begin() const noexcept { return entries_.begin(); }
  auto end() const noexcept { return entries_.end(); }

 private:
  using Index = std::unordered_map<std::string_view, std::size_t>;
  std::size_t position(std::string_view key) const noexcept;
  void rebuildIndex();

  std::vector<Entry> entries_;
  std::unique_ptr<Index> index_;
  Mutability mutability_;
};

// Short forms for the collections that a client may change.
inline Dictionary mutableDictionary(std::initializer_list<Dictionary::Entry> entries = {}) {
  return Dictionary(entries, Mutability::Mutable);
}
inline Array mutableArray(std::initializer_list<Value> items = {}) {
  return Array(items, Mutability::Mutable);
}

// A copy whose collections are mutable at every level.
Value deepMutable(const Value& value);

}  // namespace moxtel
