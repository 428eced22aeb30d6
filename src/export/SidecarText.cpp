#include "export/SidecarText.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>

#include "library/facts/FactProperties.h"
#include "value/Utf.h"

namespace moxtel {

namespace {

// XML 1.0, production 2 (Char); a carriage return is read as a line feed.
bool isAllowed(char32_t c) { return c == '\t' || c == '\n' || (c >= 0x20 && c != 0xFFFE && c != 0xFFFF); }

std::string asXml(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const char32_t c = nextCodePoint(text, at);
    if (c == '\r') {
      if (at == text.size() || text[at] != '\n') result += '\n';
    } else if (isAllowed(c)) {
      appendUtf8(result, c);
    }
  }
  return result;
}

std::string trimmed(const std::string& text) {
  constexpr const char* kSpace = " \t\n";
  const std::size_t first = text.find_first_not_of(kSpace);
  return first == std::string::npos ? std::string()
                                    : text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

}  // namespace

std::string xmlText(std::string_view text) { return trimmed(withoutStrayIsolates(asXml(text))); }

std::string hierarchicalTag(const std::vector<std::string>& path, char separator) {
  std::string tag;
  for (const std::string& each : path) {
    std::string name = xmlText(each);
    for (char& c : name)
      if (c == separator) c = '-';
    if (name.empty()) continue;
    if (!tag.empty()) tag += separator;
    tag += name;
  }
  return tag;
}

std::optional<std::string> gpsText(double degrees, double limit, char positive, char negative) {
  if (!(std::abs(degrees) <= limit)) return std::nullopt;
  // In ten-millionths of a minute, which is less than a millimeter.
  constexpr std::int64_t kMinute = 10'000'000;
  const std::int64_t all = std::llround(std::abs(degrees) * 60.0 * static_cast<double>(kMinute));
  std::string fraction = std::to_string(all % kMinute);
  fraction.insert(0, 7 - fraction.size(), '0');
  return std::to_string(all / (60 * kMinute)) + "," + std::to_string(all / kMinute % 60) + "." + fraction +
         (degrees < 0 ? negative : positive);
}

std::string fractionText(double fraction) {
  std::array<char, 32> text{};
  const auto end =
      std::to_chars(text.data(), text.data() + text.size(), fraction, std::chars_format::fixed, 6);
  return {text.data(), end.ptr};
}

}  // namespace moxtel
