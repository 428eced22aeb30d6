#include "plist/PropertyListTree.h"

namespace moxtel {

namespace {

constexpr std::size_t kBytesOfValue = 64;  // a value's own share of its collection, about

std::size_t bytesOf(const Value& leaf) {
  return leaf.isString() ? leaf.string().size() : leaf.isData() ? leaf.data().size() : 0;
}

}  // namespace

const char* PropertyListTree::spend(std::size_t bytes) {
  constexpr const char* kTooMuch = "its lists are too long";
  if (room() < kBytesOfValue || bytes > room() - kBytesOfValue) return kTooMuch;
  used_ += bytes + kBytesOfValue;
  return nullptr;
}

const char* PropertyListTree::begin(bool isDictionary) {
  if (open_.size() >= limits_.depth) return "its collections are nested too deeply";
  if (const char* reason = spend(0)) return reason;
  open_.push_back({isDictionary, std::nullopt, Dictionary(mutability_), Array(mutability_)});
  return nullptr;
}

const char* PropertyListTree::end() {
  Open closed = std::move(open_.back());
  open_.pop_back();
  place(closed.isDictionary ? Value(std::move(closed.dictionary)) : Value(std::move(closed.array)));
  return nullptr;
}

const char* PropertyListTree::key(std::string_view key) {
  if (const char* reason = spend(key.size())) return reason;
  open_.back().key = Text(key);
  return nullptr;
}

const char* PropertyListTree::leaf(Value value) {
  if (const char* reason = spend(bytesOf(value))) return reason;
  place(std::move(value));
  return nullptr;
}

// What is left out counts, too: a binary list may name it from many places.
const char* PropertyListTree::skip() {
  if (!open_.empty()) open_.back().key.reset();
  return spend(0);
}

void PropertyListTree::place(Value value) {
  if (open_.empty()) {
    top_ = std::move(value);
    return;
  }
  Open& into = open_.back();
  if (!into.isDictionary) {
    into.array.append(std::move(value));
    return;
  }
  into.dictionary.set(std::move(*into.key), std::move(value));
  into.key.reset();
}

Value PropertyListTree::takeBeginning() {
  if (open_.empty() || !open_.front().isDictionary) return take();
  return std::move(open_.front().dictionary);
}

}  // namespace moxtel
