// For a user who chooses a library folder: whether it is a library, and how many photos, albums, events and
// faces it has. Core thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "support/Localization.h"

namespace moxtel {

class LibraryDatabases;

// A count is absent where it cannot be read from the library. Photos, albums and events are those that
// clients see, in folders too; hidden and rejected photos, which the page shows only to those who ask, do not
// count.
struct LibraryCounts {
  std::optional<std::int64_t> photos;
  std::optional<std::int64_t> albums;
  std::optional<std::int64_t> events;
  std::optional<std::int64_t> faces;
  // "Photos 5 library"; empty for iPhoto, Aperture and no library.
  std::string name;
  // Of the photos; absent where nothing of the library is said to be in the cloud.
  std::optional<std::int64_t> onlyInCloud;
  friend bool operator==(const LibraryCounts&, const LibraryCounts&) = default;
};

// Reads the tables of photos once: some 0.1 s for 100,000 photos. For Photos 5 and later, the folders of
// originals that are in the cloud are listed, too. Logs nothing, and does not change the databases' count of
// users.
LibraryCounts countLibrary(LibraryDatabases& databases);

// "Photos 5 library, 26,311 photos, 214 only in the cloud"; empty without a name.
std::string describeCounts(const LibraryCounts& counts);

// For the user: that the smart albums are listed empty. Empty when they are not, or there are none. Logs
// nothing.
std::string whyNoSmartAlbums(LibraryDatabases& databases);

// What whyUnreadable() says of a folder that is not there: it may be on a disk that is not connected.
inline constexpr const char* kNoSuchFolder = UserText::later("There is no such folder.");

// Why a folder cannot be read as a library, for the user; empty when it can. Checks a few files, and opens
// none.
std::string whyUnreadable(const std::string& folder);

// Why a folder cannot be chosen as the library to serve, for the user; empty when it can.
std::string whyNoLibrary(const std::string& folder);

}  // namespace moxtel
