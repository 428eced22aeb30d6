// The command line of the server programs. Parsed by our own code: CLI11 rejects names such as -Port, several
// letters after a single dash.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/settings/UserDefaults.h"

namespace moxtel {

// What --help shows of a program.
struct ProgramDescription {
  std::string name;
  std::string summary;
  std::vector<std::pair<std::string, std::string>> options;  // option and help; parsed by the program's main
};

// Sets user defaults from the command line. Returns nullopt when the program is to start; otherwise the exit
// status: 0 after --help or --version, 2 after a message about a wrong argument.
std::optional<int> takeCommandLine(const ProgramDescription& program,
                                   const std::vector<std::string>& arguments, UserDefaults& defaults);

// Every key that the command line accepts, with its help.
const std::vector<DefaultKey>& serverDefaultKeys();

}  // namespace moxtel
