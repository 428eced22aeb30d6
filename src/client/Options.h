// The command line of moxtel.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "client/Tables.h"
#include "value/Value.h"

namespace moxtel {

// A command to send, and what to do with its result.
struct ClientRequest {
  std::optional<std::string> host;    // of --host
  std::optional<std::uint16_t> port;  // of --port
  bool json = false;
  std::optional<std::string> output;  // the file for data, "-" for standard output
  Dictionary command;
  Layout layout = Layout::Plain;
  bool brief = false;  // photos without their names and dates
  // The photos of this album, event or person go into the folder `output`; there is no command.
  std::optional<std::string> downloaded;
};

// The request to list the servers on the network.
struct BrowseWanted {
  bool json = false;
};
struct HelpWanted {
  std::string text;  // of the program, or of the subcommand that was named
};
struct VersionWanted {};
struct UsageError {
  std::string text;
};

// Each subcommand sends one command of the protocol; its arguments become entries of the request.
std::variant<ClientRequest, BrowseWanted, HelpWanted, VersionWanted, UsageError> parseOptions(
    const std::vector<std::string>& arguments);

}  // namespace moxtel
