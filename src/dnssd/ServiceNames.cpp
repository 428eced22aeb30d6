#include "dnssd/ServiceNames.h"

#include <charconv>
#include <cstddef>
#include <optional>

#include "value/Utf.h"

namespace moxtel {

namespace {

constexpr std::size_t kLongestLabel = 63;  // RFC 1035, 2.3.4

std::string cutBetweenCharacters(std::string_view text, std::size_t limit) {
  std::string cut;
  for (std::size_t at = 0; at < text.size();) {
    const char32_t codePoint = nextCodePoint(text, at);
    std::string character;
    appendUtf8(character, codePoint == 0 ? kReplacementCharacter : codePoint);
    if (cut.size() + character.size() > limit) break;
    cut += character;
  }
  return cut;
}

// The number of a name that ends in " #number".
std::optional<unsigned> numberAtEnd(std::string_view name, std::size_t mark) {
  if (mark == std::string_view::npos) return std::nullopt;
  const std::string_view digits = name.substr(mark + 2);
  unsigned number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (error != std::errc() || end != digits.data() + digits.size() || number < 2) return std::nullopt;
  return number;
}

}  // namespace

std::string publishableServiceName(std::string_view name) {
  return cutBetweenCharacters(name, kLongestLabel);
}

std::string serviceTypeWithoutDot(std::string_view type) {
  if (type.ends_with('.')) type.remove_suffix(1);
  return std::string(type);
}

std::string alternativeServiceName(std::string_view name) {
  const std::size_t mark = name.rfind(" #");
  const std::optional<unsigned> number = numberAtEnd(name, mark);
  const std::string ending = " #" + std::to_string(number ? *number + 1 : 2);
  const std::string_view stem = number ? name.substr(0, mark) : name;
  return cutBetweenCharacters(stem, kLongestLabel - ending.size()) + ending;
}

}  // namespace moxtel
