#include "library/kinds/LibraryKind.h"

#include <cerrno>

#include "library/PathNames.h"
#include "library/kinds/AlbumDataDatabase.h"
#include "platform/files/Files.h"
#include "support/Localization.h"

namespace moxtel {

namespace {

constexpr std::array kDatabaseNames{"Library.apdb", "ImageProxies.apdb", "Properties.apdb", "Faces.db"};
const std::array<SchemaAdapter, 4> kIPhotoAdapters{&adaptLibrary, &adaptImageProxies, &adaptProperties,
                                                   &adaptFaces};

bool hasFile(const std::string& folder, std::string_view file) {
  return stampOf(appendingPathComponent(folder, file)).isRegular();
}

LibraryLayout iPhotoLayout(LibraryKind kind, std::string_view folderOfDatabases) {
  LibraryLayout layout;
  layout.kind = kind;
  layout.adapters = kIPhotoAdapters;
  for (std::size_t i = 0; i < kDatabaseNames.size(); ++i)
    layout.databaseFiles[i] = appendingPathComponent(folderOfDatabases, kDatabaseNames[i]);
  return layout;
}

LibraryLayout layoutOfOneFile(LibraryKind kind, const std::string& file, const SchemaAdapter& adapter) {
  LibraryLayout layout;
  layout.kind = kind;
  layout.databaseFiles.fill(file);
  layout.adapters.fill(adapter);
  layout.hasPathCandidates = true;
  layout.rowsAreUnique = true;
  layout.hasPhotoApplication = false;
  return layout;
}

}  // namespace

LibraryKind kindOfLibrary(const std::string& folder) {
  // Photos 5 leaves a photos.db without contents beside its own database.
  if (hasFile(folder, "database/Photos.sqlite")) return LibraryKind::Photos5;
  if (hasFile(folder, "database/photos.db")) return LibraryKind::Photos4;
  if (hasFile(folder, "Database/apdb/Library.apdb") || hasFile(folder, "Database/Library.apdb"))
    return LibraryKind::IPhoto;
  // Not permitted: the user gets that message, not the contents of another file.
  if (stampOf(appendingPathComponent(folder, "Database/apdb/Library.apdb")).error == EACCES)
    return LibraryKind::IPhoto;
  if (hasFile(folder, "AlbumData.xml")) return LibraryKind::AlbumDataOnly;
  return hasFile(folder, "Aperture.aplib/Library.apdb") ? LibraryKind::OlderAperture : LibraryKind::None;
}

LibraryLayout layoutOfAlbumData() {
  LibraryLayout layout =
      layoutOfOneFile(LibraryKind::AlbumDataOnly, "AlbumData.xml", [](sqlite3*) { return adaptAlbumData(); });
  layout.isFilledFromFile = true;
  return layout;
}

LibraryLayout layoutOfLibrary(const std::string& folder, HiddenPhotos hidden) {
  const LibraryKind kind = kindOfLibrary(folder);
  switch (kind) {
    case LibraryKind::Photos5:
      return layoutOfOneFile(kind, "database/Photos.sqlite",
                             [hidden](sqlite3* database) { return adaptPhotos5(database, hidden); });
    case LibraryKind::Photos4:
      return layoutOfOneFile(kind, "database/photos.db",
                             [hidden](sqlite3* database) { return adaptPhotos4(database, hidden); });
    case LibraryKind::AlbumDataOnly:
      return layoutOfAlbumData();
    case LibraryKind::IPhoto:
    case LibraryKind::OlderAperture:
    case LibraryKind::None:
      break;
  }
  const bool isFlat =
      !hasFile(folder, "Database/apdb/Library.apdb") && hasFile(folder, "Database/Library.apdb");
  return iPhotoLayout(kind, isFlat ? "Database" : "Database/apdb");
}

// The texts that nameOfLibrary composes.
[[maybe_unused]] constexpr const char* kNames[] = {
    UserText::later("Photos library"),   UserText::later("Photos 2 library"),
    UserText::later("Photos 3 library"), UserText::later("Photos 4 library"),
    UserText::later("Photos 5 library"), UserText::later("Photos 6+ library")};

std::string nameOfLibrary(LibraryKind kind, const std::string& version) {
  switch (kind) {
    case LibraryKind::Photos4:
    case LibraryKind::Photos5:
      return (version.empty() ? "Photos" : version) + " library";
    case LibraryKind::AlbumDataOnly:
      return UserText::later("iPhoto library (AlbumData.xml only)");
    case LibraryKind::IPhoto:
    case LibraryKind::OlderAperture:
    case LibraryKind::None:
      break;
  }
  return {};
}

}  // namespace moxtel
