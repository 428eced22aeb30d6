#include "library/facts/ZoneRules.h"

#include <QDateTime>
#include <QTimeZone>
#include <algorithm>
#include <cmath>
#include <limits>

namespace moxtel {

namespace {

constexpr std::size_t kLongestName = 64;
constexpr std::int32_t kSecondsPerHour = 3600;
constexpr std::int32_t kMostHours = 18;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// "GMT-0700", "UTC+02:00", "GMT+2".
std::optional<std::int32_t> namedOffset(std::string_view name) {
  if (!name.starts_with("GMT") && !name.starts_with("UTC")) return std::nullopt;
  name.remove_prefix(3);
  if (name.empty()) return 0;
  const bool west = name.front() == '-';
  if (!west && name.front() != '+') return std::nullopt;
  name.remove_prefix(1);
  std::string digits;
  for (const char c : name) {
    if (c == ':' && !digits.empty()) continue;
    if (!isDigit(c)) return std::nullopt;
    digits += c;
  }
  if (digits.empty() || digits.size() > 4) return std::nullopt;
  const int number = std::stoi(digits);
  const int hours = digits.size() > 2 ? number / 100 : number;
  const int minutes = digits.size() > 2 ? number % 100 : 0;
  if (hours > kMostHours || minutes > 59) return std::nullopt;
  const std::int32_t seconds = hours * kSecondsPerHour + minutes * 60;
  return west ? -seconds : seconds;
}

std::vector<std::pair<double, std::int32_t>> readOffsets(std::string_view name) {
  constexpr double kAlways = -std::numeric_limits<double>::infinity();
  if (name.empty() || name.size() > kLongestName) return {{kAlways, 0}};
  if (const auto fixed = namedOffset(name)) return {{kAlways, *fixed}};
  const QTimeZone zone(QByteArray(name.data(), static_cast<qsizetype>(name.size())));
  if (!zone.isValid()) return {{kAlways, 0}};
  const QDateTime first(QDate(1850, 1, 1), QTime(0, 0), Qt::UTC),
      last(QDate(2100, 1, 1), QTime(0, 0), Qt::UTC);
  std::vector<std::pair<double, std::int32_t>> offsets{{kAlways, zone.offsetFromUtc(first)}};
  for (const QTimeZone::OffsetData& change : zone.transitions(first, last))
    offsets.emplace_back(static_cast<double>(change.atUtc.toSecsSinceEpoch()), change.offsetFromUtc);
  return offsets;
}

}  // namespace

const ZoneRules::Offsets& ZoneRules::offsetsOf(std::string_view zone) {
  if (last_ && lastName_ == zone) return *last_;
  auto found = zones_.find(std::string(zone));
  if (found == zones_.end()) {
    if (zones_.size() >= kMostZones) zones_.clear();
    found = zones_.emplace(zone, readOffsets(zone)).first;
  }
  lastName_ = zone;
  last_ = &found->second;
  return *last_;
}

std::int32_t ZoneRules::offsetAt(std::string_view zone, double moment) {
  const Offsets& offsets = offsetsOf(zone);
  const auto after = std::upper_bound(offsets.begin(), offsets.end(), moment,
                                      [](double value, const auto& each) { return value < each.first; });
  return after == offsets.begin() ? offsets.front().second : std::prev(after)->second;
}

std::optional<std::int64_t> ZoneRules::wallClock(std::string_view zone, double moment) {
  if (!(moment >= kFirst && moment < kEnd)) return std::nullopt;
  return static_cast<std::int64_t>(std::floor(moment)) + offsetAt(zone, moment);
}

}  // namespace moxtel
