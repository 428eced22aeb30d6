#include "value/Format.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "value/Description.h"
#include "value/NumberText.h"

namespace moxtel {

namespace {

constexpr int kWidest = 4096;

struct Place {
  bool left = false;
  bool zero = false;
  bool plus = false;
  bool space = false;
  bool alternate = false;
  int width = 0;
  int precision = -1;
  int longs = 0;
  char conversion = 0;
};

int readNumber(std::string_view format, std::size_t& i) {
  int number = 0;
  while (i < format.size() && format[i] >= '0' && format[i] <= '9') {
    number = std::min(kWidest, number * 10 + (format[i++] - '0'));
  }
  return number;
}

bool readFlag(Place& place, char c) {
  switch (c) {
    case '-':
      place.left = true;
      return true;
    case '0':
      place.zero = true;
      return true;
    case '+':
      place.plus = true;
      return true;
    case ' ':
      place.space = true;
      return true;
    case '#':
      place.alternate = true;
      return true;
    default:
      return false;
  }
}

// Reads from just after the per cent sign to just after the conversion character.
Place readPlace(std::string_view format, std::size_t& i) {
  Place place;
  while (i < format.size() && readFlag(place, format[i])) ++i;
  place.width = readNumber(format, i);
  if (i < format.size() && format[i] == '.') {
    ++i;
    place.precision = readNumber(format, i);
  }
  while (i < format.size() && std::string_view("lhqzt").find(format[i]) != std::string_view::npos) {
    if (format[i] != 'h') ++place.longs;
    ++i;
  }
  if (i < format.size()) place.conversion = format[i++];
  return place;
}

std::string padded(std::string text, const Place& place, std::size_t signLength = 0) {
  const auto width = static_cast<std::size_t>(place.width);
  if (text.size() >= width) return text;
  const std::size_t missing = width - text.size();
  if (place.left) return text + std::string(missing, ' ');
  if (place.zero) return text.insert(signLength, missing, '0');
  return std::string(missing, ' ') + text;
}

std::string signedText(bool negative, std::string digits, const Place& place) {
  const std::string sign = negative ? "-" : place.plus ? "+" : place.space ? " " : "";
  if (place.precision > static_cast<int>(digits.size())) {
    digits.insert(0, static_cast<std::size_t>(place.precision) - digits.size(), '0');
  }
  return padded(sign + digits, place, sign.size());
}

std::string integerText(const Value& value, const Place& place) {
  // %d takes 32 bits of what it is given, as the platform's does.
  const std::int64_t number = place.longs == 0 && value.type() == Value::Type::Integer
                                  ? static_cast<std::int32_t>(value.unsignedValue())
                                  : value.integerValue();
  const bool negative = number < 0;
  const std::uint64_t magnitude =
      negative ? 0 - static_cast<std::uint64_t>(number) : static_cast<std::uint64_t>(number);
  return signedText(negative, std::to_string(magnitude), place);
}

std::string unsignedText(const Value& value, const Place& place, int base, bool upper) {
  std::uint64_t number = value.unsignedValue();
  if (place.longs == 0) number = static_cast<std::uint32_t>(number);
  std::array<char, 24> buffer{};
  const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number, base);
  std::string digits(buffer.data(), end);
  if (upper)
    std::transform(digits.begin(), digits.end(), digits.begin(),
                   [](char c) { return c >= 'a' ? static_cast<char>(c - 'a' + 'A') : c; });
  if (base == 16 && place.alternate && number != 0) digits.insert(0, upper ? "0X" : "0x");
  return signedText(false, digits, place);
}

std::string realText(const Value& value, const Place& place) {
  std::string text;
  if (place.conversion == 'f' || place.conversion == 'F') {
    text = fixedPoint(value.doubleValue(), place.precision < 0 ? 6 : place.precision);
  } else {
    text = shortestReal(value.doubleValue());
  }
  const bool negative = !text.empty() && text.front() == '-';
  if (!negative && (place.plus || place.space)) text.insert(0, 1, place.plus ? '+' : ' ');
  return padded(std::move(text), place, negative || place.plus || place.space ? 1 : 0);
}

std::string objectText(const Value& value, const Place& place) {
  std::string text = describe(value);
  if (place.conversion == 's' && place.precision >= 0 &&
      text.size() > static_cast<std::size_t>(place.precision)) {
    text.resize(static_cast<std::size_t>(place.precision));
  }
  Place blanks = place;
  blanks.zero = false;
  return padded(std::move(text), blanks);
}

std::string pointerText(const Value& value, Place place) {
  place.alternate = false;
  place.longs = 1;
  place.zero = false;
  std::array<char, 24> buffer{};
  const auto [end, error] =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), value.unsignedValue(), 16);
  return padded("0x" + std::string(buffer.data(), end), place);
}

std::string filledIn(const Place& place, const Value& value) {
  switch (place.conversion) {
    case '@':
    case 's':
      return objectText(value, place);
    case 'd':
    case 'i':
      return integerText(value, place);
    case 'u':
      return unsignedText(value, place, 10, false);
    case 'x':
      return unsignedText(value, place, 16, false);
    case 'X':
      return unsignedText(value, place, 16, true);
    case 'c':
      return padded(std::string(1, static_cast<char>(value.integerValue())), place);
    case 'p':
      return pointerText(value, place);
    default:
      return realText(value, place);
  }
}

}  // namespace

std::string formatRuntime(std::string_view format, std::span<const FormatArgument> arguments) {
  std::string out;
  out.reserve(format.size() + arguments.size() * 16);
  std::size_t next = 0;
  for (std::size_t i = 0; i < format.size();) {
    const std::size_t percent = std::min(format.find('%', i), format.size());
    out += format.substr(i, percent - i);
    i = percent + 1;
    if (i >= format.size()) break;
    if (format[i] == '%') {
      out += '%';
      ++i;
      continue;
    }
    const Place place = readPlace(format, i);
    if (std::string_view("@diuxXcfFeEgGsp").find(place.conversion) == std::string_view::npos) continue;
    if (next < arguments.size()) out += filledIn(place, arguments[next].value());
    ++next;
  }
  return out;
}

}  // namespace moxtel
