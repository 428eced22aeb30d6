#include "pictures/properties/Moments.h"

#include <algorithm>

namespace moxtel::properties {
namespace {

// Puts the digits of a pattern's places ('#') together; every other character must be as it is.
bool matches(std::string_view text, std::string_view pattern, std::string& digits) {
  if (text.size() < pattern.size()) return false;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const bool isDigit = text[i] >= '0' && text[i] <= '9';
    if (pattern[i] == '#' ? !isDigit : text[i] != pattern[i]) return false;
    if (isDigit) digits += text[i];
  }
  return true;
}

// "Z", "+12:00" or nothing.
std::string zoneOf(std::string_view text) {
  std::string digits;
  if (text.starts_with('Z')) return "+0000";
  if (text.starts_with('+') && matches(text, "+##:##", digits)) return "+" + digits;
  if (text.starts_with('-') && matches(text, "-##:##", digits)) return "-" + digits;
  return {};
}

}  // namespace

Moment momentOfXmp(std::string_view text) {
  Moment moment;
  if (!matches(text, "####-##-##", moment.date)) return {};
  text.remove_prefix(10);
  if (!matches(text, "T##:##", moment.time)) return {moment.date, {}};
  text.remove_prefix(6);
  std::string seconds;
  if (matches(text, ":##", seconds)) text.remove_prefix(3);
  moment.time += seconds.empty() ? "00" : seconds;
  if (text.starts_with('.'))
    text.remove_prefix(std::min(text.find_first_not_of("0123456789", 1), text.size()));
  moment.time += zoneOf(text);
  return moment;
}

Moment momentOfExif(std::string_view text) {
  Moment moment;
  if (!matches(text, "####:##:##", moment.date)) return {};
  if (text.size() > 10 && !matches(text.substr(10), " ##:##:##", moment.time)) moment.time.clear();
  return moment;
}

}  // namespace moxtel::properties
