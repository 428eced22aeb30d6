// The current time. Tests replace the clock.
#pragma once

#include <string>
#include <string_view>

#include "value/Value.h"

namespace moxtel {

class Clock {
 public:
  virtual ~Clock() = default;
  // Seconds since 2001-01-01 00:00:00 UTC. Any thread. May jump when the machine's clock is set.
  virtual Date now() const = 0;

 protected:
  Clock() = default;
  Clock(const Clock&) = default;
  Clock& operator=(const Clock&) = default;
};

// The machine's clock. Any thread.
const Clock& systemClock();

// A moment in the local time zone, "yyyy-MM-dd HH:mm:ss.SSS". Any thread; moments outside the years 1 to 9999
// give the nearest of them.
std::string localDateAndMilliseconds(Date moment);

// A moment's local day, formatted by a pattern of the Unicode date format syntax; yyyy, MM and dd are filled
// in, everything else is copied ("yyyy-MM-dd" gives "2016-07-12").
std::string localDay(Date moment, std::string_view pattern);

}  // namespace moxtel
