// What a library folder is worth to a person who chooses one: whether it is a library at all, and how much it
// holds. Core thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace moxtel {

class LibraryDatabases;

// Nothing where the library does not tell.
struct LibraryCounts {
  std::optional<std::int64_t> photos;
  std::optional<std::int64_t> albums;
  std::optional<std::int64_t> events;
  std::optional<std::int64_t> faces;
  friend bool operator==(const LibraryCounts&, const LibraryCounts&) = default;
};

// Counts from tables that grow with albums, projects and persons, not with photos: the number of photos is
// what the library keeps for its projects, trash included where the application counts it. Logs nothing, and
// leaves the databases' count of users alone.
LibraryCounts countLibrary(LibraryDatabases& databases);

// Why there is nothing to read in a folder, for its user; empty when there is. Asks the file system about two
// files, and opens none.
std::string whyUnreadable(const std::string& folder);

// Why a folder cannot be chosen to be served from now on; empty when it can.
std::string whyNoLibrary(const std::string& folder);

}  // namespace moxtel
