#include "plist/XmlLeaves.h"

#include <QByteArray>
#include <charconv>
#include <chrono>

#include "value/Trimmed.h"

namespace moxtel {

namespace {

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
