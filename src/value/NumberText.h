// Numbers parsed from text and formatted as text, as the platform does it and independent of the locale: the
// decimal point is always a point. Parsing skips leading white space, takes as many characters as form a
// number, returns 0 if none do, and saturates out of range. Any thread; nothing here throws.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace moxtel {

std::int32_t intValueOf(std::string_view text) noexcept;
std::int64_t integerValueOf(std::string_view text) noexcept;
double doubleValueOf(std::string_view text) noexcept;
// True if the first character after white space, one sign and zeros is Y, y, T, t or 1 to 9.
bool boolValueOf(std::string_view text) noexcept;

// A double as an integer: truncated, saturated, NaN as 0.
std::int64_t saturatedInteger(double value) noexcept;
std::int32_t saturatedInt32(std::int64_t value) noexcept;

// Six decimals by default, as "%lf"; "inf", "-inf" and "nan" for the rest. Decimals are limited to 0 to 128.
std::string fixedPoint(double value, int decimals = 6);
// The shortest text that reads back as the same double, as the platform prints number objects.
std::string shortestReal(double value);

}  // namespace moxtel
