// Dates and times in the form of IPTC, parsed from XMP and Exif. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace moxtel::properties {

struct DateAndTime {
  std::string date;  // "20190704", or empty
  std::string time;  // "162401" or "162401-0700", or empty
};

// "2011-05-25T09:22:07.5+12:00"; parts may be missing at the end.
DateAndTime dateAndTimeOfXmp(std::string_view text);
// "2018:09:28 15:35:49", or the date alone.
DateAndTime dateAndTimeOfExif(std::string_view text);

}  // namespace moxtel::properties
