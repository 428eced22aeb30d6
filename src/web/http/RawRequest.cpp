#include "web/http/RawRequest.h"

#include <algorithm>

namespace moxtel {

namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

}  // namespace

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, [](char x, char y) { return lower(x) == lower(y); });
}

std::optional<std::string> RawRequest::field(std::string_view name) const {
  std::optional<std::string> found;
  for (const auto& [key, value] : fields) {
    if (!equalsIgnoringCase(key, name)) continue;
    if (found) return std::nullopt;
    found = value;
  }
  return found;
}

std::size_t RawRequest::count(std::string_view name) const {
  return static_cast<std::size_t>(std::ranges::count_if(
      fields, [name](const auto& field) { return equalsIgnoringCase(field.first, name); }));
}

}  // namespace moxtel
