#include "platform/loop/Clock.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace moxtel {

namespace {

class SystemClock final : public Clock {
 public:
  Date now() const override {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return {std::chrono::duration<double>(sinceEpoch).count() - kReferenceDateAfterUnixEpoch};
  }
};

// Milliseconds since the Unix epoch, within what a calendar of four-digit years can show.
std::int64_t unixMilliseconds(Date moment) {
  constexpr double kFirst = -62135510400.0;  // 0001-01-02: a day's margin for the time zone
  constexpr double kLast = 253402214399.0;   // 9999-12-30
  const double seconds = moment.seconds + kReferenceDateAfterUnixEpoch;
  const double within = std::isnan(seconds) ? 0 : std::clamp(seconds, kFirst, kLast);
  return static_cast<std::int64_t>(std::floor(within * 1000 + 1e-4));
}

std::tm localTime(std::int64_t milliseconds) {
  const auto seconds =
      static_cast<std::time_t>((milliseconds - (((milliseconds % 1000) + 1000) % 1000)) / 1000);
  std::tm parts{};
  ::localtime_r(&seconds, &parts);
  return parts;
}

void replaceAll(std::string& text, std::string_view what, std::string_view with) {
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + with.size())) {
    text.replace(at, what.size(), with);
  }
}

}  // namespace

const Clock& systemClock() {
  static const SystemClock kClock;
  return kClock;
}

std::string localDateAndMilliseconds(Date moment) {
  const std::int64_t milliseconds = unixMilliseconds(moment);
  const std::tm parts = localTime(milliseconds);
  const int fraction = static_cast<int>(((milliseconds % 1000) + 1000) % 1000);
  std::array<char, 64> buffer{};
  std::snprintf(buffer.data(), buffer.size(), "%04d-%02d-%02d %02d:%02d:%02d.%03d", parts.tm_year + 1900,
                parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec, fraction);
  return buffer.data();
}

std::string localDay(Date moment, std::string_view pattern) {
  const std::tm parts = localTime(unixMilliseconds(moment));
  std::array<char, 16> year{};
  std::array<char, 16> month{};
  std::array<char, 16> day{};
  std::snprintf(year.data(), year.size(), "%04d", parts.tm_year + 1900);
  std::snprintf(month.data(), month.size(), "%02d", parts.tm_mon + 1);
  std::snprintf(day.data(), day.size(), "%02d", parts.tm_mday);
  std::string text(pattern);
  replaceAll(text, "yyyy", year.data());
  replaceAll(text, "MM", month.data());
  replaceAll(text, "dd", day.data());
  return text;
}

}  // namespace moxtel
