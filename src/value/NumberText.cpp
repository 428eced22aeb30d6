#include "value/NumberText.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

namespace moxtel {

namespace {

bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

std::string_view withoutLeadingSpace(std::string_view text) {
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  return text;
}

template <class Int>
Int readInteger(std::string_view text) noexcept {
  text = withoutLeadingSpace(text);
  if (!text.empty() && text.front() == '+') {
    text.remove_prefix(1);
    if (!text.empty() && text.front() == '-') return 0;
  }
  Int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error == std::errc::result_out_of_range) {
    return text.front() == '-' ? std::numeric_limits<Int>::min() : std::numeric_limits<Int>::max();
  }
  return error == std::errc() ? value : 0;
}

bool startsLikeANumber(std::string_view text) {
  const std::size_t sign = !text.empty() && text.front() == '-' ? 1 : 0;
  return text.size() > sign && ((text[sign] >= '0' && text[sign] <= '9') || text[sign] == '.');
}

// from_chars does not change the value when the number is out of range. The exponent's sign, or without an
// exponent the first digit's place, shows whether the number was too large or too small.
double outOfRange(std::string_view number) {
  const bool negative = number.front() == '-';
  const auto exponent = number.find_first_of("eE");
  if (exponent != std::string_view::npos && exponent + 1 < number.size() && number[exponent + 1] == '-')
    return 0;
  if (exponent == std::string_view::npos && number.find_first_of("123456789") > number.find('.')) return 0;
  return negative ? -std::numeric_limits<double>::infinity() : std::numeric_limits<double>::infinity();
}

}  // namespace

std::int32_t intValueOf(std::string_view text) noexcept { return readInteger<std::int32_t>(text); }
std::int64_t integerValueOf(std::string_view text) noexcept { return readInteger<std::int64_t>(text); }

double doubleValueOf(std::string_view text) noexcept {
  text = withoutLeadingSpace(text);
  const bool plus = !text.empty() && text.front() == '+';
  if (plus) text.remove_prefix(1);
  if (!startsLikeANumber(text) || (plus && text.front() == '-')) return 0;
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error == std::errc::result_out_of_range) {
    return outOfRange(text.substr(0, static_cast<std::size_t>(end - text.data())));
  }
  return error == std::errc() ? value : 0;
}

bool boolValueOf(std::string_view text) noexcept {
  text = withoutLeadingSpace(text);
  if (!text.empty() && (text.front() == '+' || text.front() == '-')) text.remove_prefix(1);
  while (!text.empty() && text.front() == '0') text.remove_prefix(1);
  if (text.empty()) return false;
  const char c = text.front();
  return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
}

std::int64_t saturatedInteger(double value) noexcept {
  if (std::isnan(value)) return 0;
  if (value >= 9223372036854775808.0) return std::numeric_limits<std::int64_t>::max();
  if (value < -9223372036854775808.0) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(value);
}

std::int32_t saturatedInt32(std::int64_t value) noexcept {
  if (value > std::numeric_limits<std::int32_t>::max()) return std::numeric_limits<std::int32_t>::max();
  if (value < std::numeric_limits<std::int32_t>::min()) return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(value);
}

std::string fixedPoint(double value, int decimals) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
  std::array<char, 512> buffer{};
  const auto [end, error] =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::fixed,
                    decimals < 0     ? 0
                    : decimals > 128 ? 128
                                     : decimals);
  return error == std::errc() ? std::string(buffer.data(), end) : std::string();
}

std::string shortestReal(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
  std::array<char, 64> buffer{};
  const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  return error == std::errc() ? std::string(buffer.data(), end) : std::string();
}

}  // namespace moxtel
