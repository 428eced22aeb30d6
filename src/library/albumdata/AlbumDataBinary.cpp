#include "library/albumdata/AlbumDataBinary.h"

#include <bit>

#include "library/albumdata/AlbumDataTree.h"
#include "plist/BinaryPropertyList.h"
#include "value/Utf.h"

namespace moxtel {

namespace {

using Object = BinaryPropertyList::Object;
using Kind = BinaryPropertyList::Kind;

class Walk final {
 public:
  Walk(const BinaryPropertyList& list, const AlbumDataLimits& limits) : list_(list), tree_(limits) {}

  // Recursion is bounded by the tree's bound on depth, its width by the bound on what is kept: an object that
  // is referred to many times is paid for each time.
  bool visit(std::uint64_t number);
  AlbumDataTree& tree() { return tree_; }

 private:
  bool visitArray(const Object& object);
  bool visitDictionary(const Object& object);
  bool leaf(const Object& object);

  const BinaryPropertyList& list_;
  AlbumDataTree tree_;
};

std::string textOf(const Object& object) {
  if (object.kind == Kind::Ascii)
    return std::string(reinterpret_cast<const char*>(object.payload), object.count);
  std::string text;
  for (std::uint64_t i = 0; object.kind == Kind::Utf16 && i < object.count; ++i) {
    char32_t unit = static_cast<char32_t>(sizedNumber(object.payload + 2 * i, 2));
    if (unit >= 0xd800 && unit < 0xdc00 && i + 1 < object.count) {
      const auto low = static_cast<char32_t>(sizedNumber(object.payload + 2 * (i + 1), 2));
      if (low >= 0xdc00 && low < 0xe000) {
        unit = 0x10000 + ((unit - 0xd800) << 10) + (low - 0xdc00);
        ++i;
      }
    }
    appendUtf8(text, unit);
  }
  return text;
}

double realOf(const Object& object) {
  const std::uint64_t bits = sizedNumber(object.payload, object.count);
  if (object.count == 4) return static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bits)));
  return std::bit_cast<double>(bits);
}

// Up to four bytes are unsigned, eight signed; of sixteen the low eight count, unsigned.
Value integerOf(const Object& object) {
  if (object.count == 16) return Value(sizedNumber(object.payload + 8, 8));
  return Value(static_cast<std::int64_t>(sizedNumber(object.payload, object.count)));
}

Value leafOf(const Object& object) {
  switch (object.kind) {
    case Kind::Boolean:
      return Value(object.count != 0);
    case Kind::Integer:
    case Kind::Uid:
      return integerOf(object);
    case Kind::Real:
      return Value(realOf(object));
    case Kind::Date:
      return Value(Date{realOf(object)});
    case Kind::Data:
      return Value(Bytes(object.payload, object.payload + object.count));
    default:
      return Value(textOf(object));
  }
}

bool Walk::visit(std::uint64_t number) {
  const Object object = list_.object(number);
  switch (object.kind) {
    case Kind::Invalid:
      return false;
    case Kind::Array:
      return visitArray(object);
    case Kind::Dictionary:
      return visitDictionary(object);
    default:
      return leaf(object);
  }
}

bool Walk::leaf(const Object& object) {
  // Paid for before it is made.
  return tree_.spend(object.payload ? object.count : 0) && tree_.value(leafOf(object));
}

bool Walk::visitArray(const Object& object) {
  if (!tree_.begin(false)) return false;
  for (std::uint64_t i = 0; tree_.wantsNext() && i < object.count; ++i) {
    if (!visit(list_.reference(object.payload, i))) return false;
  }
  return tree_.end();
}

bool Walk::visitDictionary(const Object& object) {
  if (!tree_.begin(true)) return false;
  for (std::uint64_t i = 0; i < object.count; ++i) {
    const Object key = list_.object(list_.reference(object.payload, i));
    if (key.kind != Kind::Ascii && key.kind != Kind::Utf16) return false;
    if (!tree_.key(textOf(key))) return false;
    const std::uint64_t value = list_.reference(object.payload, object.count + i);
    if (!(tree_.wantsNext() ? visit(value) : tree_.skipped())) return false;
  }
  return tree_.end();
}

}  // namespace

AlbumDataContents parseBinaryAlbumData(std::span<const std::uint8_t> bytes, const AlbumDataLimits& limits) {
  const char* reason = "";
  const auto list = BinaryPropertyList::open(bytes, reason);
  if (!list) return {{}, reason};
  Walk walk(*list, limits);
  if (walk.visit(list->topNumber()) && walk.tree().isComplete()) return {walk.tree().take(), {}};
  const std::string& failure = walk.tree().failure();
  return {{}, failure.empty() ? "an object in it is broken" : failure};
}

}  // namespace moxtel
