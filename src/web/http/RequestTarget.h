// Splits and decodes the target of a request line. Any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace moxtel {

struct RequestTarget {
  std::string path;                                             // decoded
  std::vector<std::string> segments;                            // decoded; without an empty last one
  std::vector<std::pair<std::string, std::string>> parameters;  // decoded; "+" is a blank
};

// Nothing unless the target begins with "/" and is valid: at most 8,192 bytes, 32 segments and 32 parameters,
// correct percent encoding of UTF-8 without control characters, and no segment that is empty, "." or "..".
std::optional<RequestTarget> parseTarget(std::string_view target);

// The fields of a form ("application/x-www-form-urlencoded"), by the same rules.
std::optional<std::vector<std::pair<std::string, std::string>>> parseForm(std::string_view text);

}  // namespace moxtel
