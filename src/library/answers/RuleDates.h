// The days that rules of smart albums name. Times are seconds since 2001-01-01 UTC. Any thread.
#pragma once

#include <optional>
#include <string_view>

#include "value/Value.h"

namespace moxtel {

// From the first moment to before the last.
struct TimeSpan {
  double begin = 0;
  double end = 0;
  bool contains(double moment) const { return moment >= begin && moment < end; }
};

// The day in a text such as "2/24/2023 America/Los_Angeles": month, day, year, and the name of a time zone.
// Without a zone, or with one that this machine does not know, the machine's own cuts the day. Nothing for
// another text.
std::optional<TimeSpan> dayNamed(std::string_view text);

// The local days from `count` "days", "weeks", "months" or "years" ago up to today. Nothing for another unit.
std::optional<TimeSpan> lastDays(Date now, int count, std::string_view unit);

// A number that changes when the local day does.
std::int64_t dayNumber(Date now);

}  // namespace moxtel
