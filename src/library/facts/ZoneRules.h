// What clocks show in the time zones that a library names. One thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace moxtel {

class ZoneRules final {
 public:
  static constexpr std::size_t kMostZones = 1000;
  // The first moments of the years 1 and 10000; dates outside are none.
  static constexpr double kFirst = -62135596800.0;
  static constexpr double kEnd = 253402300800.0;

  // Seconds that a zone is ahead of UTC at a moment, given in seconds since 1970-01-01 UTC. Knows the zones
  // of this machine, and names such as "GMT-0700" and "UTC+02:00". 0 for another name.
  std::int32_t offsetAt(std::string_view zone, double moment);
  // The moment as the zone's clocks show it, in whole seconds since 1970-01-01 as if UTC; nothing for a
  // moment outside the years 1 to 9999.
  std::optional<std::int64_t> wallClock(std::string_view zone, double moment);

 private:
  // Ascending; the first entry is valid from the beginning.
  using Offsets = std::vector<std::pair<double, std::int32_t>>;
  const Offsets& offsetsOf(std::string_view zone);

  std::unordered_map<std::string, Offsets> zones_;
  std::string lastName_;
  const Offsets* last_ = nullptr;
};

}  // namespace moxtel
