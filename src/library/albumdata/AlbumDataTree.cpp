#include "library/albumdata/AlbumDataTree.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

#include "library/albumdata/AlbumDataFile.h"

namespace moxtel {

namespace {

// What is no number counts as the number of no photo.
std::int64_t photoNumber(const Value& value) {
  constexpr std::int64_t kNone = -1;
  if (value.type() == Value::Type::Integer) return value.integerValue();
  const std::string_view text = value.string();
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? number : kNone;
}

}  // namespace

bool AlbumDataTree::wantsNext() const {
  if (isInKeyList()) return keyListDepth_ == 1 && isKeyListArray_;
  const std::size_t depth = openCollections();
  if (depth == 0) return true;
  const Text* list = keyAt(0);
  if (!list) return false;
  if (depth == 1) return *list == kListOfAlbums || *list == kListOfRolls || *list == kListOfFaces;
  return true;
}

// The KeyList of an entry of the albums or rolls: top dictionary, list, entry.
bool AlbumDataTree::isAtKeyList() const {
  if (openCollections() != 3 || !keyAt(2)) return false;
  return *keyAt(2) == "KeyList" && keyAt(0) && *keyAt(0) != kListOfFaces;
}

std::size_t AlbumDataTree::room() const {
  const std::size_t room = PropertyListTree::room();
  return room - std::min(room, numbers_.size());
}

const char* AlbumDataTree::begin(bool isDictionary) {
  if (!isInKeyList() && !isAtKeyList()) return PropertyListTree::begin(isDictionary);
  if (!isInKeyList()) isKeyListArray_ = !isDictionary;
  ++keyListDepth_;
  return nullptr;
}

const char* AlbumDataTree::end() {
  if (!isInKeyList()) return PropertyListTree::end();
  if (--keyListDepth_ > 0) return nullptr;
  Bytes numbers = std::move(numbers_);
  numbers_ = {};
  return isKeyListArray_ ? PropertyListTree::leaf(std::move(numbers)) : PropertyListTree::skip();
}

const char* AlbumDataTree::key(std::string_view key) {
  return isInKeyList() ? nullptr : PropertyListTree::key(key);
}

const char* AlbumDataTree::leaf(Value value) {
  if (!isInKeyList())
    return isAtKeyList() ? PropertyListTree::skip() : PropertyListTree::leaf(std::move(value));
  const std::int64_t number = photoNumber(value);
  std::array<std::uint8_t, sizeof number> bytes;
  if (room() < bytes.size()) return "its lists are too long";
  std::memcpy(bytes.data(), &number, bytes.size());
  numbers_.insert(numbers_.end(), bytes.begin(), bytes.end());
  return nullptr;
}

const char* AlbumDataTree::skip() { return isInKeyList() ? nullptr : PropertyListTree::skip(); }

}  // namespace moxtel
