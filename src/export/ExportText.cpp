#include "export/ExportText.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>

namespace moxtel {

namespace {

namespace cal = std::chrono;

std::string padded(std::int64_t number, std::size_t digits) {
  std::string text = std::to_string(number);
  return std::string(digits - std::min(digits, text.size()), '0') + text;
}

constexpr std::int64_t kDay = 86'400;

std::optional<int> numberIn(std::string_view text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number < 0) return std::nullopt;
  return number;
}

}  // namespace

std::string groupedNumber(std::uint64_t number) {
  std::string text = std::to_string(number);
  for (std::size_t i = text.size(); i > 3; i -= 3) text.insert(i - 3, ",");
  return text;
}

std::string sizeText(std::uint64_t bytes) {
  static constexpr std::array<const char*, 5> kUnits{"bytes", "kB", "MB", "GB", "TB"};
  std::size_t unit = 0;
  std::uint64_t tenths = bytes;  // of the unit, from kB on
  for (std::uint64_t left = bytes; left >= 1000 && unit + 1 < kUnits.size(); left /= 1000, ++unit)
    tenths = left / 100;
  if (unit == 0) return std::to_string(bytes) + " bytes";
  return groupedNumber(tenths / 10) + (tenths < 1000 ? "." + std::to_string(tenths % 10) : "") + " " +
         kUnits[unit];
}

std::string durationText(double seconds) {
  const auto whole = static_cast<std::int64_t>(seconds + 0.5);
  if (whole >= 3600) return groupedNumber(whole / 3600) + " h " + std::to_string(whole % 3600 / 60) + " min";
  if (whole >= 60) return std::to_string(whole / 60) + " min";
  return std::to_string(whole) + " s";
}

std::optional<std::string> dayText(std::int64_t wallClock) {
  constexpr std::int64_t kMost = 400'000'000'000;
  if (wallClock < -kMost || wallClock > kMost) return std::nullopt;
  const std::int64_t days = wallClock >= 0 ? wallClock / kDay : -((-wallClock + kDay - 1) / kDay);
  const cal::year_month_day date{cal::sys_days(cal::days(days))};
  const int year = static_cast<int>(date.year());
  if (year < 1 || year > 9999) return std::nullopt;
  return padded(year, 4) + "-" + padded(static_cast<unsigned>(date.month()), 2) + "-" +
         padded(static_cast<unsigned>(date.day()), 2);
}

std::optional<std::string> dateText(std::int64_t wallClock) {
  const auto day = dayText(wallClock);
  if (!day) return std::nullopt;
  const std::int64_t second = ((wallClock % kDay) + kDay) % kDay;
  return *day + "T" + padded(second / 3600, 2) + ":" + padded(second / 60 % 60, 2) + ":" +
         padded(second % 60, 2);
}

std::optional<std::int64_t> dayIn(std::string_view text) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return std::nullopt;
  const auto year = numberIn(text.substr(0, 4)), month = numberIn(text.substr(5, 2)),
             day = numberIn(text.substr(8));
  if (!year || !month || !day) return std::nullopt;
  const cal::year_month_day date{cal::year(*year), cal::month(static_cast<unsigned>(*month)),
                                 cal::day(static_cast<unsigned>(*day))};
  if (!date.ok()) return std::nullopt;
  return cal::sys_days(date).time_since_epoch().count() * kDay;
}

}  // namespace moxtel
