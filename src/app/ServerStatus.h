// A snapshot of the server's state, which the windows show. A value: made on the core thread, copied to the
// windows' thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "library/LibrarySummary.h"
#include "library/database/DatabaseProblems.h"
#include "web/WebStatus.h"

namespace moxtel {

struct ServerStatus {
  std::string runningApplication;  // "iPhoto", "Aperture" or "<none>"
  std::optional<std::string> libraryPath;
  std::string libraryProblem;  // why the library is unreadable, for the user; empty: it is readable
  // The first database with a problem, by its file name; in a readable library.
  std::string databaseName;
  DatabaseProblem databaseProblem;
  LibraryCounts counts;
  std::vector<std::string> addresses;  // IPv4, dotted quads
  std::uint16_t port = 0;              // 0: not listening
  std::string listenFailure;           // why not; empty while listening
  std::string publishedName;           // empty: not published
  std::string publicationProblem;      // why not; empty while published, and until a problem is known
  std::optional<std::string> client;   // short host name of the connected client
  // When that client connected, in seconds since 1970-01-01 UTC; 0 without one.
  std::int64_t clientSince = 0;
  WebStatus web;
  bool preferAperture = false;
  // Whether it makes a difference: no library is chosen and another program may name one, or a photo
  // application can be asked.
  bool canPreferAperture = false;
  bool revealPhoto = true;
  bool canRevealPhoto = false;  // there is a photo application that can be asked
  friend bool operator==(const ServerStatus&, const ServerStatus&) = default;
};

}  // namespace moxtel
