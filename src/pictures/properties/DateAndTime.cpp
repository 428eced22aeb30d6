#include "pictures/properties/DateAndTime.h"

#include <algorithm>

namespace moxtel::properties {
namespace {

// Collects the digits at the '#' of the pattern; any other character must match.
bool matches(std::string_view text, std::string_view pattern, std::string& digits) {
  if (text.size() < pattern.size()) return false;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const bool isDigit = text[i] >= '0' && text[i] <= '9';
    if (pattern[i] == '#' ? !isDigit : text[i] != pattern[i]) return false;
    if (isDigit) digits += text[i];
  }
  return true;
}

// From "Z", "+12:00" or nothing.
std::string zoneOf(std::string_view text) {
  std::string digits;
  if (text.starts_with('Z')) return "+0000";
  if (text.starts_with('+') && matches(text, "+##:##", digits)) return "+" + digits;
  if (text.starts_with('-') && matches(text, "-##:##", digits)) return "-" + digits;
  return {};
}

}  // namespace

DateAndTime dateAndTimeOfXmp(std::string_view text) {
  DateAndTime result;
  if (!matches(text, "####-##-##", result.date)) return {};
  text.remove_prefix(10);
  if (!matches(text, "T##:##", result.time)) return {result.date, {}};
  text.remove_prefix(6);
  std::string seconds;
  if (matches(text, ":##", seconds)) text.remove_prefix(3);
  result.time += seconds.empty() ? "00" : seconds;
  if (text.starts_with('.'))
    text.remove_prefix(std::min(text.find_first_not_of("0123456789", 1), text.size()));
  result.time += zoneOf(text);
  return result;
}

DateAndTime dateAndTimeOfExif(std::string_view text) {
  DateAndTime result;
  if (!matches(text, "####:##:##", result.date)) return {};
  if (text.size() > 10 && !matches(text.substr(10), " ##:##:##", result.time)) result.time.clear();
  return result;
}

}  // namespace moxtel::properties
