// Value: the one property-list value that requests, replies, AlbumData.xml and the container, photo, face and
// metadata dictionaries are made of.
//
// A Value is 16 bytes and a value in the C++ sense: copying is cheap (storage is shared and copied on write),
// and no copy sees another's changes. Copies may be used on different threads; one object is used by one
// thread at a time. Throws nothing but std::bad_alloc.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "value/Shared.h"

namespace moxtel {

class Value;
class Array;
class Dictionary;

// An allocator that does not initialize bytes: a buffer that a file is read into is written only once.
template <class T>
struct UninitializedAllocator : std::allocator<T> {
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

// Whether the receiver of a collection may change it: determines the class name in an archive, and nothing
// else.
enum class Mutability : std::uint8_t { Immutable, Mutable };

class Value final {
 public:
  enum class Type : std::uint8_t { Nil, Boolean, Integer, Real, String, Data, Date, Array, Dictionary };

  Value() noexcept = default;
  Value(const Value& other) noexcept : held_(other.held_), content_(other.content_) {
    if (isStored()) content_.storage->hold();
  }
  Value(Value&& other) noexcept : held_(std::exchange(other.held_, Held::Nil)), content_(other.content_) {}
  // The old content is destroyed last: `other` may have been part of it.
  Value& operator=(Value other) noexcept {
    std::swap(held_, other.held_);
    std::swap(content_, other.content_);
    return *this;
  }
  ~Value() {
    if (isStored() && content_.storage->release()) destroy();
  }

  Value(std::nullptr_t) noexcept {}  // NOLINT: values are written as plain literals
  Value(bool v) noexcept : held_(Held::Boolean), content_{.integer = v ? 1 : 0} {}    // NOLINT
  Value(double v) noexcept : held_(Held::Real), content_{.real = v} {}                // NOLINT
  Value(moxtel::Date v) noexcept : held_(Held::Date), content_{.real = v.seconds} {}  // NOLINT
  Value(Text v) noexcept
      : held_(Held::String), content_{.storage = std::exchange(v.rep_, nullptr)} {  // NOLINT
    if (!content_.storage) held_ = Held::EmptyString;
  }
  Value(std::string_view v) : Value(Text(v)) {}    // NOLINT
  Value(const std::string& v) : Value(Text(v)) {}  // NOLINT
  Value(const char* v) : Value(Text(v)) {}         // NOLINT
  Value(Bytes v);                                  // NOLINT
  Value(Array v);                                  // NOLINT
  Value(Dictionary v);                             // NOLINT
  // Any integer; one past the range of std::int64_t keeps its unsigned value (isBeyondSigned).
  template <class Int, std::enable_if_t<std::is_integral_v<Int> && !std::is_same_v<Int, bool>, int> = 0>
  Value(Int v) noexcept : held_(Held::Integer), content_{.integer = static_cast<std::int64_t>(v)} {  // NOLINT
    if constexpr (std::is_unsigned_v<Int>) {
      if (v > static_cast<std::uint64_t>(INT64_MAX)) held_ = Held::BeyondSigned;
    }
  }
  // A pointer is no boolean.
  template <class T, std::enable_if_t<!std::is_same_v<std::remove_cv_t<T>, char>, int> = 0>
  Value(T*) = delete;

  Type type() const noexcept;
  bool isNil() const noexcept { return held_ == Held::Nil; }
  bool isString() const noexcept { return held_ == Held::String || held_ == Held::EmptyString; }
  bool isArray() const noexcept { return held_ == Held::Array; }
  bool isDictionary() const noexcept { return held_ == Held::Dictionary; }
  bool isData() const noexcept { return held_ == Held::Data; }
  // A boolean, an integer or a real: what the platform calls a number object.
  bool isNumber() const noexcept;
  // An integer above 2^63 - 1; integerValue() saturates, unsignedValue() returns it exactly.
  bool isBeyondSigned() const noexcept { return held_ == Held::BeyondSigned; }

  // The content, or, if the value is of another kind, an empty text, no bytes or an empty collection.
  std::string_view string() const noexcept;
  Text text() const noexcept;
  const Bytes& data() const noexcept;
  const Array& array() const noexcept;
  const Dictionary& dictionary() const noexcept;
  moxtel::Date date() const noexcept;

  // The collection for writing. A value of another kind becomes an empty mutable collection first.
  Array& editArray();
  Dictionary& editDictionary();

  // The platform's typed reads: numbers are converted (out of range saturates, NaN reads 0), texts are parsed
  // as described in NumberText.h, everything else, nil included, reads 0 or false.
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
  const void* identity() const noexcept { return isStored() ? content_.storage : nullptr; }
  // Whether another copy holds that storage: only then can two values have this identity.
  bool isShared() const noexcept { return isStored() && !content_.storage->isSole(); }

 private:
  // From String on: in storage that copies share.
  enum class Held : std::uint8_t {
    Nil,
    Boolean,
    Integer,
    BeyondSigned,
    Real,
    Date,
    EmptyString,
    String,
    Data,
    Array,
    Dictionary
  };
  union Content {
    std::int64_t integer = 0;  // Boolean and BeyondSigned too
    double real;               // Date too
    Counted* storage;          // a Text::Rep or a Box
  };

  // Takes over one hold.
  Value(Held held, Content content) noexcept : held_(held), content_(content) {}
  bool isStored() const noexcept { return held_ >= Held::String; }
  void destroy() noexcept;
  template <class T>
  static Value boxed(Held held, T value);
  template <class T>
  Box<T>* box() const noexcept {
    return static_cast<Box<T>*>(content_.storage);
  }
  template <class T>
  T& edit(Held held);

  Held held_ = Held::Nil;
  Content content_{};
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

// The distinct keys of a dictionary, in order. Dictionaries of one kind share one list. Past kIndexedSize
// keys lookups go through an index, so that large lists stay linear to build.
class KeyList final {
 public:
  static constexpr std::size_t kIndexedSize = 32;

  KeyList() = default;
  // The first `count` keys of another list.
  KeyList(const KeyList& other, std::size_t count);
  KeyList(KeyList&&) noexcept = default;
  KeyList& operator=(KeyList&&) noexcept = default;
  KeyList(const KeyList&) = delete;
  KeyList& operator=(const KeyList&) = delete;
  ~KeyList() = default;

  const std::vector<Text>& texts() const noexcept { return texts_; }
  std::size_t size() const noexcept { return texts_.size(); }
  // size() when there is no such key.
  std::size_t position(std::string_view key) const noexcept;
  void reserve(std::size_t count) { texts_.reserve(count); }
  // The key is not in the list.
  void append(Text key);
  void remove(std::size_t position);
  // Drops those from `count` on.
  void shrink(std::size_t count);

 private:
  using Index = std::unordered_map<std::string_view, std::size_t>;
  void rebuildIndex();

  std::vector<Text> texts_;
  std::unique_ptr<Index> index_;
};

// A dictionary with text keys that keeps insertion order. Flat: made for few keys.
class Dictionary final {
 public:
  // Entries as a constructor takes them, and as iterators return them.
  struct Entry {
    Text key;
    Value value;
  };
  struct EntryView {
    const Text& key;
    const Value& value;
  };
  class Iterator;

  explicit Dictionary(Mutability mutability = Mutability::Immutable) noexcept : mutability_(mutability) {}
  Dictionary(std::initializer_list<Entry> entries, Mutability mutability = Mutability::Immutable);
  // For many dictionaries with the same keys: uses the first keys of the list, one for each value.
  Dictionary(Shared<KeyList> keys, std::vector<Value> values, Mutability mutability) noexcept
      : keys_(std::move(keys)), values_(std::move(values)), mutability_(mutability) {}

  bool isMutable() const noexcept { return mutability_ == Mutability::Mutable; }
  Mutability mutability() const noexcept { return mutability_; }
  void setMutability(Mutability mutability) noexcept { mutability_ = mutability; }
  std::size_t size() const noexcept { return values_.size(); }
  bool empty() const noexcept { return values_.empty(); }
  void reserve(std::size_t count);

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
  // Whether there was such an entry.
  bool remove(std::string_view key);
  void clear() noexcept;
  // The values in the order of their keys; the dictionary is empty afterwards.
  std::vector<Value> takeValues() &&;

  Iterator begin() const noexcept;
  Iterator end() const noexcept;

  // Equal for dictionaries that share their keys; they may use a different number of them.
  const void* keysIdentity() const noexcept { return keys_.identity(); }

 private:
  std::size_t position(std::string_view key) const noexcept;
  KeyList& ownKeys();

  Shared<KeyList> keys_;  // the first ones are this dictionary's, as many as there are values
  std::vector<Value> values_;
  Mutability mutability_;
};

class Dictionary::Iterator final {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = EntryView;
  using difference_type = std::ptrdiff_t;
  using reference = EntryView;
  struct pointer {
    EntryView view;
    const EntryView* operator->() const noexcept { return &view; }
  };

  Iterator(const Text* key, const Value* value) noexcept : key_(key), value_(value) {}
  EntryView operator*() const noexcept { return {*key_, *value_}; }
  pointer operator->() const noexcept { return {**this}; }
  Iterator& operator++() noexcept {
    ++key_;
    ++value_;
    return *this;
  }
  Iterator operator++(int) noexcept {
    const Iterator before = *this;
    ++*this;
    return before;
  }
  friend bool operator==(const Iterator& a, const Iterator& b) noexcept { return a.value_ == b.value_; }

 private:
  const Text* key_;
  const Value* value_;
};

inline Dictionary::Iterator Dictionary::begin() const noexcept {
  return {keys_ ? keys_->texts().data() : nullptr, values_.data()};
}
inline Dictionary::Iterator Dictionary::end() const noexcept {
  return {keys_ ? keys_->texts().data() + values_.size() : nullptr, values_.data() + values_.size()};
}

// Short forms for collections that the client may change.
inline Dictionary mutableDictionary(std::initializer_list<Dictionary::Entry> entries = {}) {
  return Dictionary(entries, Mutability::Mutable);
}
inline Array mutableArray(std::initializer_list<Value> items = {}) {
  return Array(items, Mutability::Mutable);
}

// A copy whose collections are mutable at every level.
Value deepMutable(const Value& value);

}  // namespace moxtel
