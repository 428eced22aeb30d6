#include "library/albumdata/AlbumDataTree.h"

namespace moxtel {

namespace {

constexpr std::size_t kBytesOfValue = 64;  // a value's own share of its collection, about

bool isKeptList(std::string_view key) {
  return key == kListOfAlbums || key == kListOfRolls || key == kListOfFaces;
}

}  // namespace

bool AlbumDataTree::wantsNext() const {
  if (open_.empty()) return true;
  const Open& top = open_.front();
  if (!top.isDictionary || !top.key) return false;
  if (open_.size() == 1) return isKeptList(*top.key);
  // An entry of the albums or rolls: top dictionary, list, entry.
  const auto& key = open_.back().key;
  return !(open_.size() == 3 && key && *key == "KeyList" && *top.key != kListOfFaces);
}

bool AlbumDataTree::fail(const char* reason) {
  if (failure_.empty()) failure_ = reason;
  return false;
}

bool AlbumDataTree::spend(std::size_t bytes) {
  kept_ += bytes + kBytesOfValue;
  return kept_ <= limits_.keptBytes || fail("its lists are too long");
}

bool AlbumDataTree::key(std::string_view key) {
  if (!inDictionary()) return fail("a key outside a dictionary");
  if (open_.back().key) return fail("a key without a value");
  if (!spend(key.size())) return false;
  open_.back().key = Text(key);
  return true;
}

bool AlbumDataTree::place(Value value) {
  if (open_.empty()) {
    if (seenTop_) return fail("more than one value");
    seenTop_ = true;
    top_ = std::move(value);
    return true;
  }
  Open& into = open_.back();
  if (!into.isDictionary) {
    into.array.append(std::move(value));
    return true;
  }
  if (!into.key) return fail("a value without a key");
  into.dictionary.set(std::move(*into.key), std::move(value));
  into.key.reset();
  return true;
}

bool AlbumDataTree::value(Value value) { return place(std::move(value)); }

bool AlbumDataTree::begin(bool dictionary) {
  if (keyIsMissing()) return fail("a value without a key");
  if (open_.empty() && seenTop_) return fail("more than one value");
  if (open_.size() >= limits_.depth) return fail("its collections are nested too deeply");
  if (!spend(0)) return false;
  open_.emplace_back().isDictionary = dictionary;
  return true;
}

bool AlbumDataTree::end() {
  if (open_.empty()) return fail("a collection ends that did not begin");
  if (open_.back().key) return fail("a key without a value");
  Open closed = std::move(open_.back());
  open_.pop_back();
  return place(closed.isDictionary ? Value(std::move(closed.dictionary)) : Value(std::move(closed.array)));
}

bool AlbumDataTree::skipped() {
  if (!inDictionary()) return true;
  if (!open_.back().key) return fail("a value without a key");
  open_.back().key.reset();
  return true;
}

Value AlbumDataTree::take() {
  if (!top_.isDictionary()) return Value(mutableDictionary());
  return std::move(top_);
}

}  // namespace moxtel
