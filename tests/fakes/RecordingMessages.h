// Records the messages to the user.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "library/Messages.h"

namespace moxtel::test {

class RecordingMessages final : public Messages {
 public:
  void showTitle(std::string_view title, std::string_view info) override { lines.emplace_back(title, info); }
  // How many messages with this title contain the text.
  std::ptrdiff_t count(std::string_view title, std::string_view part) const {
    return std::count_if(lines.begin(), lines.end(), [&](const auto& line) {
      return line.first == title && line.second.find(part) != std::string::npos;
    });
  }

  std::vector<std::pair<std::string, std::string>> lines;  // title and text
};

}  // namespace moxtel::test
