// Numbers, sizes and dates for people and for names. Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace moxtel {

// "1,234,567"
std::string groupedNumber(std::uint64_t number);
// "12.3 GB", with decimal units
std::string sizeText(std::uint64_t bytes);
// "2 h 5 min", "40 s"
std::string durationText(double seconds);

// Wall clock: seconds since 1970-01-01 as if UTC. Years 1 to 9999; nothing outside.
std::optional<std::string> dayText(std::int64_t wallClock);   // "2009-07-04"
std::optional<std::string> dateText(std::int64_t wallClock);  // "2009-07-04T13:22:10"
// The begin of a day, "2009-07-04"; nothing if it is none.
std::optional<std::int64_t> dayIn(std::string_view text);

}  // namespace moxtel
