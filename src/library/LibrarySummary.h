// For a user who chooses a library folder: whether it is a library, and how many photos, albums, events and
// faces it has. Core thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace moxtel {

class LibraryDatabases;

// A count is absent where it cannot be read from the library.
struct LibraryCounts {
  std::optional<std::int64_t> photos;
  std::optional<std::int64_t> albums;
  std::optional<std::int64_t> events;
  std::optional<std::int64_t> faces;
  friend bool operator==(const LibraryCounts&, const LibraryCounts&) = default;
};

// Counts from tables that grow with albums, projects and persons, not with photos: the number of photos is
// the sum that the library stores for its projects, trash included where the application counts it. Logs
// nothing, and does not change the databases' count of users.
LibraryCounts countLibrary(LibraryDatabases& databases);

// Why a folder cannot be read as a library, for the user; empty when it can. Checks a few files, and opens
// none.
std::string whyUnreadable(const std::string& folder);

// Why a folder cannot be chosen as the library to serve, for the user; empty when it can.
std::string whyNoLibrary(const std::string& folder);

}  // namespace moxtel
