// A text without the white space around it. Any thread.
#pragma once

#include <string_view>

namespace moxtel {

// Without ASCII white space and line ends at both ends.
constexpr std::string_view trimmed(std::string_view text) noexcept {
  constexpr std::string_view kWhite = " \t\n\v\f\r";
  const std::size_t begin = text.find_first_not_of(kWhite);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kWhite) - begin + 1);
}

}  // namespace moxtel
