#include "library/answers/RuleDates.h"

#include <QDateTime>
#include <QTimeZone>
#include <charconv>
#include <cmath>
#include <string>

namespace moxtel {

namespace {

double secondsOf(const QDateTime& moment) {
  return static_cast<double>(moment.toSecsSinceEpoch()) - kReferenceDateAfterUnixEpoch;
}

QDate localDay(Date now) {
  // The years 1 to 9999; also for what no clock returns.
  const double seconds = std::clamp(now.seconds, -63113904000.0, 252423993599.0);
  return QDateTime::fromSecsSinceEpoch(
             static_cast<qint64>(std::floor(seconds + kReferenceDateAfterUnixEpoch)))
      .date();
}

// Takes a number and the character after it from the beginning of a text.
std::optional<int> takeNumber(std::string_view& text, char after) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  if (text.empty() ? after != ' ' : text.front() != after) return std::nullopt;
  if (!text.empty()) text.remove_prefix(1);
  return number;
}

std::optional<TimeSpan> span(QDate first, QDate after, std::string_view zoneName) {
  if (!first.isValid() || !after.isValid()) return std::nullopt;
  const QTimeZone zone(QByteArray(zoneName.data(), static_cast<qsizetype>(zoneName.size())));
  if (zoneName.empty() || !zone.isValid())
    return TimeSpan{secondsOf(first.startOfDay()), secondsOf(after.startOfDay())};
  return TimeSpan{secondsOf(first.startOfDay(zone)), secondsOf(after.startOfDay(zone))};
}

QDate before(QDate day, int count, std::string_view unit) {
  if (unit == "days" || unit == "day") return day.addDays(-count);
  if (unit == "weeks" || unit == "week") return day.addDays(-7LL * count);
  if (unit == "months" || unit == "month") return day.addMonths(-count);
  if (unit == "years" || unit == "year") return day.addYears(-count);
  return {};
}

}  // namespace

std::optional<TimeSpan> dayNamed(std::string_view text) {
  const auto month = takeNumber(text, '/');
  const auto day = month ? takeNumber(text, '/') : std::nullopt;
  const auto year = day ? takeNumber(text, ' ') : std::nullopt;
  // A year of two digits would be another format of dates.
  if (!year || *year < 1000 || *year > 9999) return std::nullopt;
  const QDate date(*year, *month, *day);
  return span(date, date.addDays(1), text);
}

std::optional<TimeSpan> lastDays(Date now, int count, std::string_view unit) {
  constexpr int kMost = 1'000'000;
  if (count < 0 || count > kMost) return std::nullopt;
  const QDate today = localDay(now);
  return span(before(today, count, unit), today.addDays(1), {});
}

std::int64_t dayNumber(Date now) { return localDay(now).toJulianDay(); }

}  // namespace moxtel
