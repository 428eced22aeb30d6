#include "plist/PropertyListLeaves.h"

#include "value/Utf.h"

namespace moxtel {

namespace {

using Kind = BinaryPropertyList::Kind;
using Object = BinaryPropertyList::Object;

constexpr const char* kNoUtf16 = "a text is no valid UTF-16";

const char* readUtf16(const Object& object, std::string& out) {
  out.reserve(static_cast<std::size_t>(object.count));
  for (std::uint64_t i = 0; i < object.count; ++i) {
    auto unit = static_cast<char32_t>(sizedNumber(object.payload + 2 * i, 2));
    if (unit >= 0xD800 && unit < 0xE000) {
      if (unit >= 0xDC00 || ++i == object.count) return kNoUtf16;
      const auto low = static_cast<char32_t>(sizedNumber(object.payload + 2 * i, 2));
      if (low < 0xDC00 || low > 0xDFFF) return kNoUtf16;
      unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
    }
    appendUtf8(out, unit);
  }
  return nullptr;
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

const char* readText(const Object& object, Slab* slab, Value& out) {
  if (object.kind == Kind::Ascii) {
    const std::string_view ascii(reinterpret_cast<const char*>(object.payload),
                                 static_cast<std::size_t>(object.count));
    if (!isAscii(ascii)) return "a text marked as ASCII is none";
    out = Text(ascii, slab);
    return nullptr;
  }
  std::string utf8;
  const char* reason = readUtf16(object, utf8);
  if (!reason) out = Text(utf8, slab);
  return reason;
}

}  // namespace moxtel
