// Parses numbers in XMP. Any thread.
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

#include "value/Value.h"

namespace moxtel::properties {

// The whole text as a number; nothing if it is not one.
template <class Number>
std::optional<Number> numberOf(std::string_view text) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

// "24/1" or "24"; NaN for 0/0, which means "unknown", and infinity for other quotients by 0.
std::optional<double> quotientOf(std::string_view text);

// Nil for a text that is not a number, and for a number that is not finite.
Value integerOf(std::string_view text);
Value realOf(std::string_view text);

}  // namespace moxtel::properties
