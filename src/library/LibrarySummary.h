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
// what the library keeps for its projects, trash included where the application counts it.
LibraryCounts countLibrary(LibraryDatabases& databases);

// Why a folder cannot be served, for its user; empty when it can.
std::string whyNoLibrary(const std::string& folder);

}  // namespace moxtel
