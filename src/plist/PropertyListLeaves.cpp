#include "plist/PropertyListLeaves.h"

#include "value/Utf.h"

namespace moxtel {

namespace {

using Kind = BinaryPropertyList::Kind;
using Object = BinaryPropertyList::Object;

constexpr const char* kUnreadable = "an object cannot be read";
constexpr const char* kNoAscii = "a text marked as ASCII is none";
constexpr const char* kNoUtf16 = "a text is no valid UTF-16";

char32_t unitAt(const Object& object, std::uint64_t index) {
  return static_cast<char32_t>(sizedNumber(object.payload + 2 * index, 2));
}

bool isHigh(char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isLow(char32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

// Half a pair is appended as U+FFFD; false when there is one.
bool appendUtf16(const Object& object, std::string& out) {
  bool valid = true;
  out.reserve(static_cast<std::size_t>(object.count));
  for (std::uint64_t i = 0; i < object.count; ++i) {
    char32_t unit = unitAt(object, i);
    if (isHigh(unit) && i + 1 < object.count && isLow(unitAt(object, i + 1))) {
      unit = 0x10000 + ((unit - 0xD800) << 10) + (unitAt(object, ++i) - 0xDC00);
    } else if (isHigh(unit) || isLow(unit)) {
      valid = false;
    }
    appendUtf8(out, unit);
  }
  return valid;
}

std::string utf8OrLatin1(std::string_view text) {
  if (isValidUtf8(text)) return std::string(text);
  std::string out;
  for (const char c : text) appendUtf8(out, static_cast<unsigned char>(c));
  return out;
}

}  // namespace

const char* readWideInteger(const Object& object, Value& out) {
  const std::uint64_t high = sizedNumber(object.payload, 8);
  const std::uint64_t low = sizedNumber(object.payload + 8, 8);
  if (high == 0) {
    out = low;
  } else if (high == UINT64_MAX && low >> 63 != 0) {
    out = static_cast<std::int64_t>(low);
  } else {
    return "an integer has more than 64 bits";
  }
  return nullptr;
}

const char* readText(const Object& object, Value& out, Strictness strictness) {
  const bool lenient = strictness == Strictness::Lenient;
  if (object.kind == Kind::Ascii) {
    const std::string_view ascii(reinterpret_cast<const char*>(object.payload),
                                 static_cast<std::size_t>(object.count));
    const bool valid = isAscii(ascii);
    if (!valid && !lenient) return kNoAscii;
    out = valid ? Text(ascii) : Text(utf8OrLatin1(ascii));
    return nullptr;
  }
  std::string utf8;
  if (!appendUtf16(object, utf8) && !lenient) return kNoUtf16;
  out = utf8;
  return nullptr;
}

const char* readLeaf(const Object& object, Value& out, Strictness strictness) {
  switch (object.kind) {
    case Kind::Boolean:
      out = object.count != 0;
      return nullptr;
    case Kind::Integer:
      return readInteger(object, out);
    case Kind::Real:
      out = realOf(object);
      return nullptr;
    case Kind::Date:
      out = Date{realOf(object)};
      return nullptr;
    case Kind::Data:
      out = Bytes(object.payload, object.payload + object.count);
      return nullptr;
    case Kind::Ascii:
    case Kind::Utf16:
      return readText(object, out, strictness);
    default:
      return kUnreadable;
  }
}

}  // namespace moxtel
