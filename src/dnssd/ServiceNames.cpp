#include "dnssd/ServiceNames.h"

#include <charconv>
#include <cstddef>
#include <optional>

namespace moxtel {

namespace {

constexpr std::size_t kLongestLabel = 63;  // RFC 1035, 2.3.4
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// The length of the UTF-8 character that the text begins with; 0 when it begins with none.
std::size_t characterLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  if (first == 0) return 0;
  if (first < 0x80) return 1;
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  const unsigned char second = byte(1);
  const bool overlong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
  const bool outside = (first == 0xED && second > 0x9F) || (first == 0xF4 && second > 0x8F);
  return overlong || outside ? 0 : length;
}

std::string cutBetweenCharacters(std::string_view text, std::size_t limit) {
  std::string cut;
  while (!text.empty()) {
    const std::size_t length = characterLength(text);
    const std::string_view character = length > 0 ? text.substr(0, length) : kReplacement;
    if (cut.size() + character.size() > limit) break;
    cut += character;
    text.remove_prefix(length > 0 ? length : 1);
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
