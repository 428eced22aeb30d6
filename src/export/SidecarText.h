// Texts of a library as XML and other programs take them. Any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace moxtel {

// Valid UTF-8 without characters that XML forbids, without directional isolates that have no counterpart,
// with line feeds as the only ends of lines, and without white space at both ends.
std::string xmlText(std::string_view text);

// The names of a hierarchy as one tag, "Trips/Rome": a separator within a name becomes a hyphen. Names of
// which nothing is left are left out.
std::string hierarchicalTag(const std::vector<std::string>& path, char separator);

// Degrees as XMP has them, "34,55.1335002S"; nothing outside of -limit to limit.
std::optional<std::string> gpsText(double degrees, double limit, char positive, char negative);

// With six decimals, "0.320312".
std::string fractionText(double fraction);

}  // namespace moxtel
