// The command line of the server programs. Parsed by our own code: CLI11 rejects names such as -Port, several
// letters after a single dash.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/settings/UserDefaults.h"

namespace moxtel {

// Names and one line each, for --help.
struct ProgramDescription {
  std::string name;
  std::string summary;
  std::vector<std::pair<std::string, std::string>> options;  // the program's own, which its main takes first
};

// Fills the user defaults from the command line. Nothing when the program is to go on; else its exit status,
// after
// --help or --version (0) or after a message about what is wrong (2).
std::optional<int> takeCommandLine(const ProgramDescription& program,
                                   const std::vector<std::string>& arguments, UserDefaults& defaults);

// The defined keys.
const std::vector<DefaultKey>& serverDefaultKeys();

}  // namespace moxtel
