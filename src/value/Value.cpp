#include "value/Value.h"

#include <algorithm>

#include "value/NumberText.h"

namespace moxtel {

namespace {

const Value kNil;

}  // namespace

template <class T>
Value Value::boxed(Held held, T value) {
  return {held, Content{.storage = new Box<T>(std::move(value))}};
}

Value::Value(Bytes v) : Value(boxed(Held::Data, std::move(v))) {}
Value::Value(Array v) : Value(boxed(Held::Array, std::move(v))) {}
Value::Value(Dictionary v) : Value(boxed(Held::Dictionary, std::move(v))) {}

void Value::destroy() noexcept {
  switch (held_) {
    case Held::String:
      return Text::destroy(static_cast<Text::Rep*>(content_.storage));
    case Held::Data:
      delete box<Bytes>();
      return;
    case Held::Array:
      delete box<Array>();
      return;
    case Held::Dictionary:
      delete box<Dictionary>();
      return;
    default:
      return;
  }
}

Value::Type Value::type() const noexcept {
  static constexpr Type kTypes[] = {Type::Nil,  Type::Boolean, Type::Integer,   Type::Integer,
                                    Type::Real, Type::Date,    Type::String,    Type::String,
                                    Type::Data, Type::Array,   Type::Dictionary};
  return kTypes[static_cast<std::size_t>(held_)];
}

bool Value::isNumber() const noexcept { return held_ >= Held::Boolean && held_ <= Held::Real; }

std::string_view Value::string() const noexcept {
  return held_ == Held::String ? Text::viewOf(static_cast<const Text::Rep*>(content_.storage))
                               : std::string_view();
}

Text Value::text() const noexcept {
  if (held_ != Held::String) return {};
  content_.storage->hold();
  return Text(static_cast<Text::Rep*>(content_.storage));
}

const Bytes& Value::data() const noexcept {
  static const Bytes kNone;
  return isData() ? box<Bytes>()->value : kNone;
}

const Array& Value::array() const noexcept {
  static const Array kNone;
  return isArray() ? box<Array>()->value : kNone;
}

const Dictionary& Value::dictionary() const noexcept {
  static const Dictionary kNone;
  return isDictionary() ? box<Dictionary>()->value : kNone;
}

Date Value::date() const noexcept {
  return held_ == Held::Date ? moxtel::Date{content_.real} : moxtel::Date{};
}

// The collection for writing; no other value shares it afterwards.
template <class T>
T& Value::edit(Held held) {
  if (held_ != held) {
    *this = T(Mutability::Mutable);
  } else if (!content_.storage->isSole()) {
    *this = T(box<T>()->value);
  }
  return box<T>()->value;
}

Array& Value::editArray() { return edit<Array>(Held::Array); }
Dictionary& Value::editDictionary() { return edit<Dictionary>(Held::Dictionary); }

std::int32_t Value::intValue() const noexcept {
  if (isString()) return intValueOf(string());
  return saturatedInt32(integerValue());
}

std::int64_t Value::integerValue() const noexcept {
  switch (held_) {
    case Held::Boolean:
    case Held::Integer:
      return content_.integer;
    case Held::BeyondSigned:
      return INT64_MAX;
    case Held::Real:
      return saturatedInteger(content_.real);
    case Held::String:
      return integerValueOf(string());
    default:
      return 0;
  }
}

std::uint64_t Value::unsignedValue() const noexcept {
  return static_cast<std::uint64_t>(isBeyondSigned() ? content_.integer : integerValue());
}

double Value::doubleValue() const noexcept {
  switch (held_) {
    case Held::Boolean:
    case Held::Integer:
      return static_cast<double>(content_.integer);
    case Held::BeyondSigned:
      return static_cast<double>(unsignedValue());
    case Held::Real:
      return content_.real;
    case Held::String:
      return doubleValueOf(string());
    default:
      return 0;
  }
}

bool Value::boolValue() const noexcept {
  if (isString()) return boolValueOf(string());
  if (held_ == Held::Real) return content_.real != 0;
  return integerValue() != 0;
}

const Value& Value::operator[](std::string_view key) const noexcept { return dictionary()[key]; }

namespace {

bool sameEntries(const Dictionary& a, const Dictionary& b) noexcept {
  if (a.size() != b.size()) return false;
  for (const auto& entry : a) {
    const Value* other = b.find(entry.key);
    if (!other || !(*other == entry.value)) return false;
  }
  return true;
}

}  // namespace

bool operator==(const Value& a, const Value& b) noexcept {
  if (a.held_ != b.held_) return false;
  if (a.identity() && a.identity() == b.identity()) return true;
  switch (a.type()) {
    case Value::Type::Array:
      return a.array().items() == b.array().items();
    case Value::Type::Dictionary:
      return sameEntries(a.dictionary(), b.dictionary());
    case Value::Type::Data:
      return a.data() == b.data();
    case Value::Type::String:
      return a.string() == b.string();
    case Value::Type::Date:
      return a.date() == b.date();
    case Value::Type::Real:
      return a.doubleValue() == b.doubleValue();
    case Value::Type::Nil:
      return true;
    case Value::Type::Boolean:
    case Value::Type::Integer:
      break;
  }
  return a.unsignedValue() == b.unsignedValue();
}

KeyList::KeyList(const KeyList& other, std::size_t count)
    : texts_(other.texts_.begin(), other.texts_.begin() + static_cast<std::ptrdiff_t>(count)) {
  rebuildIndex();
}

std::size_t KeyList::position(std::string_view key) const noexcept {
  if (index_) {
    const auto found = index_->find(key);
    return found == index_->end() ? texts_.size() : found->second;
  }
  std::size_t i = 0;
  while (i < texts_.size() && texts_[i].view() != key) ++i;
  return i;
}

void KeyList::append(Text key) {
  texts_.push_back(std::move(key));
  if (index_) {
    index_->emplace(texts_.back().view(), texts_.size() - 1);
  } else if (texts_.size() > kIndexedSize) {
    rebuildIndex();
  }
}

void KeyList::remove(std::size_t position) {
  index_.reset();
  texts_.erase(texts_.begin() + static_cast<std::ptrdiff_t>(position));
  rebuildIndex();
}

void KeyList::shrink(std::size_t count) {
  if (count >= texts_.size()) return;
  index_.reset();
  texts_.resize(count);
  rebuildIndex();
}

// The index's keys are views of the texts' storage, which does not move when the vector does.
void KeyList::rebuildIndex() {
  if (texts_.size() <= kIndexedSize) return;
  index_ = std::make_unique<Index>(texts_.size() * 2);
  for (std::size_t i = 0; i < texts_.size(); ++i) index_->emplace(texts_[i].view(), i);
}

Dictionary::Dictionary(std::initializer_list<Entry> entries, Mutability mutability)
    : mutability_(mutability) {
  reserve(entries.size());
  for (const Entry& entry : entries) set(entry.key, entry.value);
}

void Dictionary::reserve(std::size_t count) {
  values_.reserve(count);
  if (!keys_) keys_.reset(KeyList());
  if (keys_.isSole()) keys_.own().reserve(count);
}

// The list of keys for writing: not shared, with exactly one key for each value.
KeyList& Dictionary::ownKeys() {
  if (!keys_) {
    keys_.reset(KeyList());
  } else if (!keys_.isSole()) {
    keys_.reset(KeyList(*keys_, size()));
  }
  keys_.own().shrink(size());
  return keys_.own();
}

std::size_t Dictionary::position(std::string_view key) const noexcept {
  return keys_ ? std::min(keys_->position(key), size()) : 0;
}

const Value* Dictionary::find(std::string_view key) const noexcept {
  const std::size_t i = position(key);
  return i < size() ? &values_[i] : nullptr;
}

Value* Dictionary::find(std::string_view key) noexcept {
  const std::size_t i = position(key);
  return i < size() ? &values_[i] : nullptr;
}

const Value& Dictionary::operator[](std::string_view key) const noexcept {
  const Value* value = find(key);
  return value ? *value : kNil;
}

void Dictionary::set(Text key, Value value) {
  if (Value* held = find(key)) {
    *held = std::move(value);
  } else {
    append(std::move(key), std::move(value));
  }
}

void Dictionary::append(Text key, Value value) {
  ownKeys().append(std::move(key));
  values_.push_back(std::move(value));
}

bool Dictionary::remove(std::string_view key) {
  const std::size_t i = position(key);
  if (i == size()) return false;
  // The key may be a view of the entry itself: it is not used again.
  ownKeys().remove(i);
  values_.erase(values_.begin() + static_cast<std::ptrdiff_t>(i));
  return true;
}

void Dictionary::clear() noexcept {
  keys_ = {};
  values_.clear();
}

std::vector<Value> Dictionary::takeValues() && {
  keys_ = {};
  return std::exchange(values_, {});
}

Value deepMutable(const Value& value) {
  if (value.isArray()) {
    Array copy(Mutability::Mutable);
    copy.reserve(value.array().size());
    for (const Value& item : value.array()) copy.append(deepMutable(item));
    return copy;
  }
  if (value.isDictionary()) {
    Dictionary copy(Mutability::Mutable);
    copy.reserve(value.dictionary().size());
    for (const auto& entry : value.dictionary()) copy.append(entry.key, deepMutable(entry.value));
    return copy;
  }
  return value;
}

}  // namespace moxtel
