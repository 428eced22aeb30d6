#include "library/albumdata/PropertyListText.h"

#include <charconv>
#include <chrono>
#include <cmath>

#include "value/Trimmed.h"

namespace moxtel {

namespace {

template <class Number, class... Base>
std::optional<Number> whole(std::string_view text, Base... base) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base...);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

std::string_view withoutPlus(std::string_view text) {
  return text.starts_with('+') && text.size() > 1 && text[1] != '-' ? text.substr(1) : text;
}

std::optional<Value> integer(std::string_view text) {
  text = withoutPlus(trimmed(text));
  if (text.starts_with("0x") || text.starts_with("0X")) {
    const auto number = whole<std::uint64_t>(text.substr(2), 16);
    return number ? std::optional<Value>(*number) : std::nullopt;
  }
  if (const auto number = whole<std::int64_t>(text, 10)) return Value(*number);
  if (const auto number = whole<std::uint64_t>(text, 10)) return Value(*number);
  return std::nullopt;
}

std::optional<Value> real(std::string_view text) {
  const auto number = whole<double>(withoutPlus(trimmed(text)), std::chars_format::general);
  return number ? std::optional<Value>(*number) : std::nullopt;
}

// The numbers of a text of the pattern's form, where 0 stands for a digit; nothing if it has another form.
bool fits(std::string_view text, std::string_view pattern) {
  if (text.size() != pattern.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    if (pattern[i] == '0' ? !digit : text[i] != pattern[i]) return false;
  }
  return true;
}

std::optional<Value> date(std::string_view text) {
  text = trimmed(text);
  if (!fits(text, "0000-00-00T00:00:00Z")) return std::nullopt;
  const auto number = [&](std::size_t at, std::size_t count) {
    return *whole<int>(text.substr(at, count), 10);
  };
  const std::chrono::year_month_day day(std::chrono::year(number(0, 4)),
                                        std::chrono::month(static_cast<unsigned>(number(5, 2))),
                                        std::chrono::day(static_cast<unsigned>(number(8, 2))));
  if (!day.ok()) return std::nullopt;
  const auto seconds = std::chrono::seconds(std::chrono::sys_days(day).time_since_epoch()) +
                       std::chrono::seconds(number(11, 2) * 3600 + number(14, 2) * 60 + number(17, 2));
  return Value(Date{static_cast<double>(seconds.count()) - kReferenceDateAfterUnixEpoch});
}

// A base64 digit's value; -1 for white space, -2 for anything else.
int base64Digit(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' ? -1 : -2;
}

std::optional<Value> data(std::string_view text) {
  Bytes bytes;
  bytes.reserve(text.size() / 4 * 3);
  std::uint32_t bits = 0;
  int count = 0;
  for (const char c : text) {
    if (c == '=') break;
    const int digit = base64Digit(c);
    if (digit == -2) return std::nullopt;
    if (digit == -1) continue;
    bits = bits << 6 | static_cast<std::uint32_t>(digit);
    if ((count += 6) < 8) continue;
    count -= 8;
    bytes.push_back(static_cast<std::uint8_t>(bits >> count));
  }
  return Value(std::move(bytes));
}

}  // namespace

std::optional<Value> propertyListLeaf(std::string_view element, std::string_view text) {
  if (element == "string") return Value(text);
  if (element == "integer") return integer(text);
  if (element == "real") return real(text);
  if (element == "true") return Value(true);
  if (element == "false") return Value(false);
  if (element == "date") return date(text);
  if (element == "data") return data(text);
  return std::nullopt;
}

}  // namespace moxtel
