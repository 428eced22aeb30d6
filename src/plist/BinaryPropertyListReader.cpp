#include "plist/BinaryPropertyListReader.h"

namespace moxtel {

namespace {

using Kind = BinaryPropertyList::Kind;
using Object = BinaryPropertyList::Object;

class BinaryWalk final {
 public:
  BinaryWalk(const BinaryPropertyList& list, PropertyListSink& sink, Strictness strictness,
             PropertyListOddities& oddities)
      : list_(list), sink_(sink), strictness_(strictness), oddities_(oddities) {}

  // Null, or why the walk ended. Recursion is bounded by kDeepestPropertyList.
  const char* value(std::uint64_t number, std::size_t depth);

 private:
  const char* array(const Object& object, std::size_t depth);
  const char* dictionary(const Object& object, std::size_t depth);
  const char* entry(std::uint64_t key, std::uint64_t value, std::size_t depth);
  const char* leaf(std::uint64_t number, const Object& object, Value& out);

  const BinaryPropertyList& list_;
  PropertyListSink& sink_;
  const Strictness strictness_;
  PropertyListOddities& oddities_;
};

const char* BinaryWalk::value(std::uint64_t number, std::size_t depth) {
  if (!sink_.wantsNext()) return sink_.skip();
  if (depth > kDeepestPropertyList) return "its collections are nested too deeply";
  const Object object = list_.object(number);
  if (object.kind == Kind::Array) return array(object, depth);
  if (object.kind == Kind::Dictionary) return dictionary(object, depth);
  Value value;
  if (const char* reason = leaf(number, object, value)) return reason;
  return value.isNil() ? sink_.skip() : sink_.leaf(std::move(value));
}

// `out` stays nil when the leaf is left out.
const char* BinaryWalk::leaf(std::uint64_t number, const Object& object, Value& out) {
  if (object.payload && object.count > sink_.room()) return "a text in it is too long";
  const char* reason = readLeaf(object, out);
  if (!reason || strictness_ == Strictness::Strict) return reason;
  oddities_.add(number);
  out = {};
  static_cast<void>(readLeaf(object, out, Strictness::Lenient));
  return nullptr;
}

const char* BinaryWalk::array(const Object& object, std::size_t depth) {
  const char* reason = sink_.begin(false);
  for (std::uint64_t i = 0; !reason && i < object.count; ++i) {
    reason = value(list_.reference(object.payload, i), depth + 1);
  }
  return reason ? reason : sink_.end();
}

const char* BinaryWalk::dictionary(const Object& object, std::size_t depth) {
  const char* reason = sink_.begin(true);
  for (std::uint64_t i = 0; !reason && i < object.count; ++i) {
    reason =
        entry(list_.reference(object.payload, i), list_.reference(object.payload, object.count + i), depth);
  }
  return reason ? reason : sink_.end();
}

const char* BinaryWalk::entry(std::uint64_t key, std::uint64_t value, std::size_t depth) {
  Value name;
  if (const char* reason = leaf(key, list_.object(key), name)) return reason;
  if (!name.isString()) {
    if (strictness_ == Strictness::Strict) return "a dictionary's key is no text";
    // One that cannot be read was counted.
    if (!name.isNil()) oddities_.add(key);
    return sink_.skip();
  }
  if (const char* reason = sink_.key(name.string())) return reason;
  return this->value(value, depth + 1);
}

}  // namespace

std::string readBinaryPropertyList(std::span<const std::uint8_t> bytes, PropertyListSink& sink,
                                   Strictness strictness, PropertyListOddities& oddities) {
  const char* reason = nullptr;
  const auto list = BinaryPropertyList::open(bytes, reason);
  if (list) reason = BinaryWalk(*list, sink, strictness, oddities).value(list->topNumber(), 1);
  return reason ? reason : "";
}

std::optional<Value> binaryPropertyListValue(std::span<const std::uint8_t> bytes,
                                             const PropertyListLimits& limits, Strictness strictness) {
  PropertyListTree tree(limits, Mutability::Immutable);
  PropertyListOddities oddities;
  if (!readBinaryPropertyList(bytes, tree, strictness, oddities).empty()) return std::nullopt;
  Value value = tree.take();
  return value.isNil() ? std::nullopt : std::optional(std::move(value));
}

}  // namespace moxtel
