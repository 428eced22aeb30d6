#include "plist/PropertyListLeaves.h"

#include <QByteArray>
#include <charconv>
#include <chrono>
#include <optional>

#include "value/Trimmed.h"
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

// The whole text as a number.
template <class Number, class... Format>
bool readNumber(std::string_view text, Number& out, Format... format) {
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, out, format...);
  return error == std::errc() && stop == end;
}

bool readInteger(std::string_view text, Value& out) {
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (hexadecimal) text.remove_prefix(2);
  std::uint64_t magnitude = 0;
  if (!readNumber(text, magnitude, hexadecimal ? 16 : 10)) return false;
  if (!negative) {
    out = magnitude;
    return true;
  }
  out = static_cast<std::int64_t>(0 - magnitude);
  return magnitude <= std::uint64_t{1} << 63;
}

bool readReal(std::string_view text, Value& out) {
  double value = 0;
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return false;
  }
  if (!readNumber(text, value)) return false;
  out = value;
  return true;
}

// Whether the text has the pattern's form, where 0 is any digit.
bool hasForm(std::string_view text, std::string_view pattern) {
  if (text.size() != pattern.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    if (pattern[i] == '0' ? !digit : text[i] != pattern[i]) return false;
  }
  return true;
}

bool readDate(std::string_view text, Value& out) {
  using namespace std::chrono;
  if (!hasForm(text, "0000-00-00T00:00:00Z")) return false;
  const auto number = [text](std::size_t from, std::size_t count) {
    int digits = 0;
    readNumber(text.substr(from, count), digits);
    return digits;
  };
  const year_month_day date{year{number(0, 4)}, month{static_cast<unsigned>(number(5, 2))},
                            day{static_cast<unsigned>(number(8, 2))}};
  if (!date.ok()) return false;
  const seconds sinceUnixEpoch = sys_days{date}.time_since_epoch() + hours{number(11, 2)} +
                                 minutes{number(14, 2)} + seconds{number(17, 2)};
  out = Date{static_cast<double>(sinceUnixEpoch.count()) - kReferenceDateAfterUnixEpoch};
  return true;
}

Bytes base64Of(std::string_view text) {
  const auto decoded =
      QByteArray::fromBase64(QByteArray::fromRawData(text.data(), static_cast<qsizetype>(text.size())));
  return Bytes(decoded.begin(), decoded.end());
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

const char* readText(const Object& object, Slab* slab, Value& out, Strictness strictness) {
  const bool lenient = strictness == Strictness::Lenient;
  if (object.kind == Kind::Ascii) {
    const std::string_view ascii(reinterpret_cast<const char*>(object.payload),
                                 static_cast<std::size_t>(object.count));
    const bool valid = isAscii(ascii);
    if (!valid && !lenient) return kNoAscii;
    out = valid ? Text(ascii, slab) : Text(utf8OrLatin1(ascii), slab);
    return nullptr;
  }
  std::string utf8;
  if (!appendUtf16(object, utf8) && !lenient) return kNoUtf16;
  out = Text(utf8, slab);
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
      return readText(object, nullptr, out, strictness);
    default:
      return kUnreadable;
  }
}

bool isXmlLeaf(std::string_view element) noexcept {
  return element == "string" || element == "integer" || element == "real" || element == "true" ||
         element == "false" || element == "date" || element == "data";
}

const char* readXmlLeaf(std::string_view element, std::string_view text, Value& out) {
  if (element == "string") {
    out = text;
    return nullptr;
  }
  if (element == "data") {
    out = base64Of(text);
    return nullptr;
  }
  text = trimmed(text);
  if (element == "integer") return readInteger(text, out) ? nullptr : "an integer cannot be read";
  if (element == "real") return readReal(text, out) ? nullptr : "a real cannot be read";
  if (element == "date") return readDate(text, out) ? nullptr : "a date cannot be read";
  if (element != "true" && element != "false") return "an element is unknown";
  out = element == "true";
  return text.empty() ? nullptr : "a boolean has a text";
}

}  // namespace moxtel
