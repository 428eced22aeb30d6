#include "library/LibrarySummary.h"

#include <cerrno>

#include "library/PathNames.h"
#include "library/database/LibraryDatabases.h"
#include "library/kinds/LibraryKind.h"
#include "platform/files/Files.h"

namespace moxtel {

namespace {

constexpr const char* kNotPermitted = "This user is not permitted to read the folder.";

const char* whyNotServed(LibraryKind kind) {
  if (kind == LibraryKind::OlderAperture)
    return "This is a library of Aperture 1 or 2. Open it once with Aperture 3, which converts it.";
  return "This folder is not a photo library. Choose the folder named like \"iPhoto Library\", not the disk "
         "or a folder inside it.";
}

std::optional<std::int64_t> numberOf(LibraryDatabases& databases, DatabaseFile file, SqlText sql) {
  Query query = databases.runUnlogged(file, sql, {});
  if (!query.step()) return std::nullopt;
  return query.integer64Column(0);
}

// The sum of the numbers that the library stores for its projects; nothing when it stores none.
std::optional<std::int64_t> photosInProjects(LibraryDatabases& databases) {
  std::optional<std::int64_t> sum;
  Query query = databases.runUnlogged(
      DatabaseFile::Library, "SELECT versionCount FROM RKFolder WHERE folderType = 2 AND isInTrash = 0", {});
  while (query.step()) {
    if (!query.stringColumn(0).isNil()) sum = sum.value_or(0) + query.integerColumn(0);
  }
  return sum;
}

}  // namespace

LibraryCounts countLibrary(LibraryDatabases& databases) {
  // openDatabase() and its like would log a missing database, which is an expected answer here. Each query
  // opens what it needs.
  LibraryCounts counts;
  counts.photos = photosInProjects(databases);
  counts.events = numberOf(databases, DatabaseFile::Library,
                           "SELECT COUNT(uuid) FROM RKFolder WHERE folderType = 2 AND isInTrash = 0");
  counts.albums =
      numberOf(databases, DatabaseFile::Library,
               "SELECT COUNT(uuid) FROM RKAlbum WHERE albumType = 1 AND albumSubclass IN (2, 3) AND "
               "isInTrash = 0 AND isMagic = 0");
  counts.faces = numberOf(databases, DatabaseFile::Faces, "SELECT COUNT(uuid) FROM RKFaceName");
  databases.releaseLocks();
  return counts;
}

std::string whyUnreadable(const std::string& folder) {
  if (!isUtf8Path(folder)) {
    return "The folder's path is not valid UTF-8. Make a symbolic link to it whose path is plain ASCII, and "
           "choose the link.";
  }
  const FileStamp stamp = stampOf(folder);
  if (stamp.kind == FileStamp::Kind::Missing) {
    return stamp.error == EACCES ? kNotPermitted : "There is no such folder.";
  }
  const LibraryLayout layout = layoutOfLibrary(folder);
  const std::string path = appendingPathComponent(folder, layout.databaseFiles[0]);
  const FileStamp database = stampOf(path);
  if (database.kind == FileStamp::Kind::Missing && database.error == EACCES) return kNotPermitted;
  if (stampOf(appendingPathComponent(folder, "Database/apdb")).kind == FileStamp::Kind::Other &&
      !database.isRegular()) {
    return "The library's file Database/apdb/Library.apdb is missing. Copy the library again.";
  }
  if (!layout.isServed() || !database.isRegular()) return whyNotServed(layout.kind);
  return isReadable(path) ? std::string() : kNotPermitted;
}

std::string whyNoLibrary(const std::string& folder) {
  // Stored in the settings, it would name another folder when the program starts in another directory.
  if (!folder.starts_with('/')) return "The folder's path is not absolute.";
  return whyUnreadable(folder);
}

}  // namespace moxtel
