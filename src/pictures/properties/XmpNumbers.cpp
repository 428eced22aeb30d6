#include "pictures/properties/XmpNumbers.h"

#include <cmath>

namespace moxtel::properties {

std::optional<double> quotientOf(std::string_view text) {
  const std::size_t stroke = text.find('/');
  if (stroke == std::string_view::npos) return numberOf<double>(text);
  const auto above = numberOf<double>(text.substr(0, stroke));
  const auto below = numberOf<double>(text.substr(stroke + 1));
  return above && below ? std::optional(*above / *below) : std::nullopt;
}

Value integerOf(std::string_view text) {
  const auto number = numberOf<std::int64_t>(text);
  return number ? Value(*number) : Value();
}

Value realOf(std::string_view text) {
  const auto number = quotientOf(text);
  return number && std::isfinite(*number) ? Value(*number) : Value();
}

}  // namespace moxtel::properties
