// A database in memory with iPhoto's tables, filled from AlbumData.xml: for libraries of which no other
// database is left (iPhoto '08 and older, and copies without the folder Database).
//
// The file has all that is needed to browse and show: albums, events, faces, titles and where the pictures
// are. Identifiers are the file's own: an image's "GUID", or the number that is its key in older files.
// Any thread.
#pragma once

#include <cstdint>
#include <istream>
#include <memory>
#include <string>
#include <vector>

#include "library/database/SchemaAdapter.h"

namespace moxtel {

struct AlbumDataDatabase {
  // A complete SQLite database, to be opened where it is (sqlite3_deserialize) by any number of readers;
  // empty when the file cannot be read.
  std::vector<std::uint8_t> bytes;
  std::size_t photos = 0;
  std::string error;   // for the user: why there is no database, or what of the file is missing in it
  std::string mended;  // for the user: what was odd in the file; empty for nothing
};

// Needs memory for the database, some 1.2 KB a photo, not for the file. Does not throw.
std::shared_ptr<const AlbumDataDatabase> readAlbumDataDatabase(const std::string& albumDataPath);
// The same from an open file of that many bytes.
std::shared_ptr<const AlbumDataDatabase> readAlbumDataDatabase(std::istream& file, std::uint64_t size);

// Views that add the columns for which the file has nothing.
AdaptedSchema adaptAlbumData();

}  // namespace moxtel
