#include "pictures/properties/BinaryPlist.h"

#include <bit>

#include "pictures/properties/Texts.h"
#include "plist/BinaryPropertyList.h"

namespace moxtel::properties {
namespace {

using Kind = BinaryPropertyList::Kind;

constexpr int kDeepest = 16;
constexpr int kMostObjects = 4096;
// Of texts and data together, one that several places share counted each time.
constexpr std::size_t kMostBytes = std::size_t{1} << 20;

class Unfolding final {
 public:
  explicit Unfolding(const BinaryPropertyList& list) : list_(list) {}
  Value value(std::uint64_t number, int depth);

 private:
  Value scalar(const BinaryPropertyList::Object& object);
  Value array(const BinaryPropertyList::Object& object, int depth);
  Value dictionary(const BinaryPropertyList::Object& object, int depth);

  const BinaryPropertyList& list_;
  int left_ = kMostObjects;
  std::size_t bytesLeft_ = kMostBytes;
};

Value Unfolding::value(std::uint64_t number, int depth) {
  if (depth > kDeepest || left_ <= 0) return {};
  --left_;
  const auto object = list_.object(number);
  if (object.kind == Kind::Array) return array(object, depth);
  return object.kind == Kind::Dictionary ? dictionary(object, depth) : scalar(object);
}

double realOf(const BinaryPropertyList::Object& object) {
  const std::uint64_t bits = sizedNumber(object.payload, object.count);
  return object.count == 4 ? static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bits)))
                           : std::bit_cast<double>(bits);
}

Value Unfolding::scalar(const BinaryPropertyList::Object& object) {
  const auto size = static_cast<std::size_t>(object.count);
  const std::string_view text(reinterpret_cast<const char*>(object.payload), size);
  if (object.kind == Kind::Data || object.kind == Kind::Ascii || object.kind == Kind::Utf16) {
    if (size > bytesLeft_) return {};
    bytesLeft_ -= size;
  }
  switch (object.kind) {
    case Kind::Boolean:
      return object.count != 0;
    case Kind::Integer:
      // One of eight bytes is signed; the low half of a wider one counts.
      return static_cast<std::int64_t>(
          sizedNumber(object.payload + (size > 8 ? size - 8 : 0), size > 8 ? 8 : size));
    case Kind::Real:
      return realOf(object);
    case Kind::Date:
      return Date{realOf(object)};
    case Kind::Data:
      return copyOf(bytesOf(text));
    case Kind::Ascii:
      return utf8OrLatin1(text);
    case Kind::Utf16:
      return utf16BigEndian({text.data(), 2 * size});
    default:
      return {};
  }
}

Value Unfolding::array(const BinaryPropertyList::Object& object, int depth) {
  Array all;
  for (std::uint64_t i = 0; i < object.count; ++i) {
    Value one = value(list_.reference(object.payload, i), depth + 1);
    if (one.isNil()) return {};
    all.append(std::move(one));
  }
  return all;
}

Value Unfolding::dictionary(const BinaryPropertyList::Object& object, int depth) {
  Dictionary all;
  for (std::uint64_t i = 0; i < object.count; ++i) {
    const Value key = value(list_.reference(object.payload, i), depth + 1);
    Value one = value(list_.reference(object.payload, object.count + i), depth + 1);
    if (!key.isString() || one.isNil()) return {};
    all.set(key.text(), std::move(one));
  }
  return all;
}

}  // namespace

Value propertyListIn(FileBytes bytes) {
  const char* reason = nullptr;
  const auto list = BinaryPropertyList::open(bytes, reason);
  return list ? Unfolding(*list).value(list->topNumber(), 0) : Value();
}

}  // namespace moxtel::properties
