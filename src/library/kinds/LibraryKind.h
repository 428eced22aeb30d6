// Which application keeps the library in a folder, and what depends on that: the database files, how they are
// read, where the pictures are, and what cannot be done. Told by the folder's contents, never by its name.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "library/database/SchemaAdapter.h"
#include "library/kinds/PhotosViews.h"

namespace moxtel {

enum class LibraryKind : std::uint8_t {
  None,           // no library, or a disk that is away
  IPhoto,         // iPhoto 9 or Aperture 3, or one of their versions before
  Photos4,        // Photos 2 to 4: photos.db
  Photos5,        // Photos 5 and later: Photos.sqlite
  AlbumDataOnly,  // iPhoto '08 and older, and copies without databases: only AlbumData.xml
  OlderAperture,  // Aperture 1 or 2; not served
};

// What is served the same way for every folder of a kind.
struct LibraryLayout {
  LibraryKind kind = LibraryKind::None;
  // Below the library's folder, by DatabaseFile. Equal names: one database has the tables of several.
  std::array<std::string, 4> databaseFiles;
  std::array<SchemaAdapter, 4> adapters;
  // The tables are made from the file, which is no database.
  bool isFilledFromFile = false;
  // The database's paths start at the library's folder, and may be several candidates, a line each. Otherwise
  // they are single ones, below Masters, Thumbnails and Previews.
  bool hasPathCandidates = false;
  // A photo has one row with its uuid, and at most one for each of its texts: the tables are views, or made
  // from a file.
  bool rowsAreUnique = false;
  // The photo applications know such a library: their scripts can be asked, and change it.
  bool hasPhotoApplication = true;

  bool isServed() const { return kind != LibraryKind::None && kind != LibraryKind::OlderAperture; }
};

// Looks for a few files, opens none. Any thread.
LibraryKind kindOfLibrary(const std::string& folder);
// For a folder without a library: the layout of iPhoto, whose files may come later. Any thread.
LibraryLayout layoutOfLibrary(const std::string& folder, HiddenPhotos hidden = HiddenPhotos::LeaveOut);

// For a folder with an AlbumData.xml, as if it had no databases. Any thread.
LibraryLayout layoutOfAlbumData();

// For the user: "Photos 5 library"; empty for iPhoto and for no library. version: AdaptedSchema's.
std::string nameOfLibrary(LibraryKind kind, const std::string& version);

}  // namespace moxtel
