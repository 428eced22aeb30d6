#include "value/Value.h"

#include "value/Numbers.h"

namespace moxtel {

namespace {

const Value kNil;

template <class... Ts>
struct Overloaded : Ts... {
  using Ts::operator()...;
};
template <class... Ts>
Overloaded(Ts...) -> Overloaded<Ts...>;

}  // namespace

Value::Value(Bytes v) : store_(Shared<Bytes>(std::move(v))) {}
Value::Value(Array v) : store_(Shared<Array>(std::move(v))) {}
Value::Value(Dictionary v) : store_(Shared<Dictionary>(std::move(v))) {}

Value::Type Value::type() const noexcept {
  static constexpr Type kTypes[] = {Type::Nil,   Type::Boolean,   Type::Integer, Type::Integer,
                                    Type::Real,  Type::String,    Type::Data,    Type::Date,
                                    Type::Array, Type::Dictionary};
  return kTypes[store_.index()];
}

bool Value::isNumber() const noexcept {
  const Type t = type();
  return t == Type::Boolean || t == Type::Integer || t == Type::Real;
}

std::string_view Value::string() const noexcept {
  const Text* text = std::get_if<Text>(&store_);
  return text ? text->view() : std::string_view();
}

Text Value::text() const noexcept {
  const Text* text = std::get_if<Text>(&store_);
  return text ? *text : Text();
}

const Bytes& Value::data() const noexcept {
  static const Bytes kNone;
  const auto* held = std::get_if<Shared<Bytes>>(&store_);
  return held ? held->get() : kNone;
}

const Array& Value::array() const noexcept {
  static const Array kNone;
  const auto* held = std::get_if<Shared<Array>>(&store_);
  return held ? held->get() : kNone;
}

const Dictionary& Value::dictionary() const noexcept {
  static const Dictionary kNone;
  const auto* held = std::get_if<Shared<Dictionary>>(&store_);
  return held ? held->get() : kNone;
}

Date Value::date() const noexcept {
  const auto* held = std::get_if<moxtel::Date>(&store_);
  return held ? *held : moxtel::Date{};
}

Array& Value::editArray() {
  if (!isArray()) store_ = Shared<Array>(Array(Mutability::Mutable));
  return std::get<Shared<Array>>(store_).edit();
}

Dictionary& Value::editDictionary() {
  if (!isDictionary()) store_ = Shared<Dictionary>(Dictionary(Mutability::Mutable));
  return std::get<Shared<Dictionary>>(store_).edit();
}

std::int32_t Value::intValue() const noexcept {
  if (const Text* text = std::get_if<Text>(&store_)) return intValueOf(*text);
  return saturatedInt32(integerValue());
}

std::int64_t Value::integerValue() const noexcept {
  return std::visit(Overloaded{[](bool v) -> std::int64_t { return v ? 1 : 0; },
                               [](std::int64_t v) -> std::int64_t { return v; },
                               [](std::uint64_t) -> std::int64_t { return INT64_MAX; },
                               [](double v) -> std::int64_t { return saturatedInteger(v); },
                               [](const Text& v) -> std::int64_t { return integerValueOf(v); },
                               [](const auto&) -> std::int64_t { return 0; }},
                    store_);
}

std::uint64_t Value::unsignedValue() const noexcept {
  if (const auto* v = std::get_if<std::uint64_t>(&store_)) return *v;
  return static_cast<std::uint64_t>(integerValue());
}

double Value::doubleValue() const noexcept {
  return std::visit(Overloaded{[](bool v) -> double { return v ? 1 : 0; },
                               [](std::int64_t v) -> double { return static_cast<double>(v); },
                               [](std::uint64_t v) -> double { return static_cast<double>(v); },
                               [](double v) -> double { return v; },
                               [](const Text& v) -> double { return doubleValueOf(v); },
                               [](const auto&) -> double { return 0; }},
                    store_);
}

bool Value::boolValue() const noexcept {
  if (const Text* text = std::get_if<Text>(&store_)) return boolValueOf(*text);
  if (const double* real = std::get_if<double>(&store_)) return *real != 0;
  return integerValue() != 0;
}

const Value& Value::operator[](std::string_view key) const noexcept { return dictionary()[key]; }

const void* Value::identity() const noexcept {
  return std::visit(Overloaded{[](const Text& v) -> const void* { return v.identity(); },
                               [](const Shared<Bytes>& v) -> const void* { return v.identity(); },
                               [](const Shared<Array>& v) -> const void* { return v.identity(); },
                               [](const Shared<Dictionary>& v) -> const void* { return v.identity(); },
                               [](const auto&) -> const void* { return nullptr; }},
                    store_);
}

bool Value::isShared() const noexcept {
  return std::visit(
      Overloaded{[](const Text& v) { return v.isShared(); },
                 [](const Shared<Bytes>& v) { return v.isShared(); },
                 [](const Shared<Array>& v) { return v.isShared(); },
                 [](const Shared<Dictionary>& v) { return v.isShared(); }, [](const auto&) { return false; }},
      store_);
}

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
  if (a.store_.index() != b.store_.index()) return false;
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

Dictionary::Dictionary(std::initializer_list<Entry> entries, Mutability mutability)
    : mutability_(mutability) {
  entries_.reserve(entries.size());
  for (const Entry& entry : entries) set(entry.key, entry.value);
}

Dictionary::Dictionary(const Dictionary& other) : entries_(other.entries_), mutability_(other.mutability_) {
  rebuildIndex();
}

Dictionary& Dictionary::operator=(Dictionary other) noexcept {
  entries_.swap(other.entries_);
  index_.swap(other.index_);
  mutability_ = other.mutability_;
  return *this;
}

std::size_t Dictionary::position(std::string_view key) const noexcept {
  if (index_) {
    const auto found = index_->find(key);
    return found == index_->end() ? entries_.size() : found->second;
  }
  std::size_t i = 0;
  while (i < entries_.size() && entries_[i].key.view() != key) ++i;
  return i;
}

const Value* Dictionary::find(std::string_view key) const noexcept {
  const std::size_t i = position(key);
  return i < entries_.size() ? &entries_[i].value : nullptr;
}

Value* Dictionary::find(std::string_view key) noexcept {
  const std::size_t i = position(key);
  return i < entries_.size() ? &entries_[i].value : nullptr;
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

void Dictionary::append(Text key, Value value) { append(std::move(key)) = std::move(value); }

Value& Dictionary::append(Text key) {
  Entry& entry = entries_.emplace_back(Entry{std::move(key), Value()});
  if (index_) {
    index_->emplace(entry.key.view(), entries_.size() - 1);
  } else if (entries_.size() > kIndexedSize) {
    rebuildIndex();
  }
  return entry.value;
}

bool Dictionary::remove(std::string_view key) {
  const std::size_t i = position(key);
  if (i == entries_.size()) return false;
  // The key may be a view of the entry itself: it is not used again.
  index_.reset();
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(i));
  rebuildIndex();
  return true;
}

void Dictionary::clear() noexcept {
  index_.reset();
  entries_.clear();
}

// The index's keys are views of the entries' texts, whose storage does not move when the vector does.
void Dictionary::rebuildIndex() {
  index_.reset();
  if (entries_.size() <= kIndexedSize) return;
  index_ = std::make_unique<Index>(entries_.size() * 2);
  for (std::size_t i = 0; i < entries_.size(); ++i) index_->emplace(entries_[i].key.view(), i);
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
