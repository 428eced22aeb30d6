// Numbers in texts, read and written as the platform does and independent of the locale: the decimal point is
// a point. Reading skips leading white space, takes as many characters as fit, gives 0 when none does, and
// saturates out of range. Nothing here throws.
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

// Six decimals with a point ("%lf"); infinities "inf" and "-inf", not a number "nan".
std::string fixedPoint(double value, int decimals = 6);
// The shortest text that reads back as the same double, as the platform prints number objects.
std::string shortestReal(double value);

}  // namespace moxtel
