// What a person in front of the server wants to know, as of one moment. A value: made on the core thread,
// shown by windows.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "library/LibrarySummary.h"

namespace moxtel {

struct ServerStatus {
  std::string runningApplication;  // "iPhoto", "Aperture" or "<none>"
  std::optional<std::string> libraryPath;
  std::string libraryProblem;  // why that cannot be read, for the user; empty when it can
  LibraryCounts counts;
  std::vector<std::string> addresses;  // IPv4, dotted quads
  std::uint16_t port = 0;              // 0: it does not listen
  std::string listenFailure;           // why it does not
  std::string publishedName;           // empty: not published
  std::string publicationProblem;      // why it is not
  std::optional<std::string> client;   // the short name of the one that is connected
  bool preferAperture = false;
  bool revealPhoto = true;
  friend bool operator==(const ServerStatus&, const ServerStatus&) = default;
};

}  // namespace moxtel
