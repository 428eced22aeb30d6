#include "export/ExportState.h"

#include "library/FileNameForms.h"

namespace moxtel {

namespace {

constexpr const char* kSchema =
    "CREATE TABLE IF NOT EXISTS setting (name TEXT PRIMARY KEY, value TEXT) WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS library (id INTEGER PRIMARY KEY, identity TEXT UNIQUE, path TEXT, folder "
    "TEXT);"
    "CREATE TABLE IF NOT EXISTS folder (library INTEGER, container TEXT, path TEXT, PRIMARY KEY (library, "
    "container)) WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS file (library INTEGER, uuid TEXT, role INTEGER, path TEXT, wasThere INTEGER, "
    "sourceSize INTEGER, sourceModified INTEGER, size INTEGER, modified INTEGER, sha256 TEXT, facts TEXT, "
    "PRIMARY "
    "KEY (library, uuid, role)) WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS picture (library INTEGER, uuid TEXT, role INTEGER, size INTEGER, modified "
    "INTEGER, "
    "width INTEGER, height INTEGER, orientation INTEGER, PRIMARY KEY (library, uuid, role)) WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS remark (library INTEGER, uuid TEXT, role INTEGER, text TEXT, "
    "PRIMARY KEY (library, uuid, role, text)) WITHOUT ROWID;"
    // A hash of each path: the paths of a million photos are long.
    "CREATE TABLE IF NOT EXISTS claim (hash INTEGER PRIMARY KEY);";

// FNV-1a.
std::int64_t hashOf(std::string_view text) {
  std::uint64_t hash = 14695981039346656037u;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211u;
  return static_cast<std::int64_t>(hash);
}

StateFile fileOf(const Statement& row, int first) {
  StateFile file;
  file.path = row.text(first);
  file.wasThere = row.integer(first + 1) != 0;
  file.isDone = !row.isNull(first + 2);
  file.sourceSize = static_cast<std::uint64_t>(row.integer(first + 2));
  file.sourceModified = row.integer(first + 3);
  file.size = static_cast<std::uint64_t>(row.integer(first + 4));
  file.modified = row.integer(first + 5);
  file.sha256 = row.text(first + 6);
  file.facts = row.text(first + 7);
  return file;
}

}  // namespace

// A write-ahead log in a file that no other process uses needs no shared memory. What a failure of power
// loses of it is copied again.
ExportState::Tables::Tables(StateSql& sql) {
  sql.execute(
      "PRAGMA locking_mode = EXCLUSIVE; PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;"
      "PRAGMA cache_size = -16000; PRAGMA temp_store = FILE; PRAGMA trusted_schema = OFF;");
  sql.execute(kSchema);
}

ExportState::ExportState(const std::string& path)
    : sql_(path),
      tables_(sql_),
      setting_(sql_, "SELECT value FROM setting WHERE name = ?"),
      set_(sql_, "INSERT OR REPLACE INTO setting VALUES (?, ?)"),
      library_(sql_, "SELECT id, folder FROM library WHERE identity = ?"),
      libraryAt_(sql_, "SELECT id, folder FROM library WHERE path = ?"),
      anyLibrary_(sql_, "SELECT 1 FROM library"),
      addLibrary_(sql_, "INSERT INTO library (identity, path, folder) VALUES (?, ?, ?) RETURNING id"),
      folder_(sql_, "SELECT path FROM folder WHERE library = ? AND container = ?"),
      setFolder_(sql_, "INSERT OR REPLACE INTO folder VALUES (?, ?, ?)"),
      find_(
          sql_,
          "SELECT path, wasThere, sourceSize, sourceModified, size, modified, sha256, facts FROM file WHERE "
          "library = ? AND uuid = ? AND role = ?"),
      plan_(sql_, "INSERT OR REPLACE INTO file (library, uuid, role, path, wasThere) VALUES (?, ?, ?, ?, ?)"),
      finish_(sql_, "INSERT OR REPLACE INTO file VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
      dropRemarks_(sql_, "DELETE FROM remark WHERE library = ? AND uuid = ? AND role = ?"),
      addRemark_(sql_, "INSERT OR IGNORE INTO remark VALUES (?, ?, ?, ?)"),
      claim_(sql_, "INSERT OR IGNORE INTO claim VALUES (?)"),
      isClaimed_(sql_, "SELECT 1 FROM claim WHERE hash = ?"),
      picture_(sql_,
               "SELECT width, height, orientation FROM picture WHERE library = ? AND uuid = ? AND role = ? "
               "AND size = ? "
               "AND modified = ?"),
      setPicture_(sql_, "INSERT OR REPLACE INTO picture VALUES (?, ?, ?, ?, ?, ?, ?, ?)") {}

void ExportState::begin() {
  if (!inTransaction_) sql_.execute("BEGIN");
  inTransaction_ = true;
}

void ExportState::commit() {
  if (inTransaction_) sql_.execute("COMMIT");
  inTransaction_ = false;
}

std::optional<std::string> ExportState::setting(std::string_view name) {
  if (!setting_.with(name).row()) return std::nullopt;
  std::string value(setting_.text(0));
  setting_.reset();
  return value;
}

void ExportState::set(std::string_view name, std::string_view value) { set_.with(name, value).run(); }

std::optional<ExportState::Library> ExportState::library(std::string_view identity) {
  if (!library_.with(identity).row()) return std::nullopt;
  Library library{library_.integer(0), std::string(library_.text(1))};
  library_.reset();
  return library;
}

std::optional<ExportState::Library> ExportState::libraryAt(std::string_view path) {
  if (!libraryAt_.with(path).row()) return std::nullopt;
  Library library{libraryAt_.integer(0), std::string(libraryAt_.text(1))};
  libraryAt_.reset();
  return library;
}

bool ExportState::hasLibraries() {
  const bool found = anyLibrary_.with().row();
  anyLibrary_.reset();
  return found;
}

ExportState::Library ExportState::addLibrary(std::string_view identity, std::string_view path,
                                             std::string_view folder) {
  addLibrary_.with(identity, path, folder);
  Library library{0, std::string(folder)};
  while (addLibrary_.row()) library.id = addLibrary_.integer(0);
  return library;
}

std::optional<std::string> ExportState::folderOf(std::int64_t library, std::string_view container) {
  if (!folder_.with(library, container).row()) return std::nullopt;
  std::string path(folder_.text(0));
  folder_.reset();
  return path;
}

void ExportState::setFolder(std::int64_t library, std::string_view container, std::string_view path) {
  setFolder_.with(library, container, path).run();
}

std::optional<StateFile> ExportState::find(const FileKey& key) {
  if (!find_.with(key.library, key.uuid, static_cast<int>(key.role)).row()) return std::nullopt;
  StateFile file = fileOf(find_, 0);
  find_.reset();
  return file;
}

void ExportState::plan(const FileKey& key, std::string_view path, bool wasThere) {
  plan_.with(key.library, key.uuid, static_cast<int>(key.role), path, wasThere ? 1 : 0).run();
}

void ExportState::finish(const FileKey& key, const StateFile& file) {
  finish_
      .with(key.library, key.uuid, static_cast<int>(key.role), file.path, file.wasThere ? 1 : 0,
            file.sourceSize, file.sourceModified, file.size, file.modified, file.sha256, file.facts)
      .run();
}

void ExportState::setRemarks(const FileKey& key, const std::vector<std::string>& texts) {
  const int role = static_cast<int>(key.role);
  dropRemarks_.with(key.library, key.uuid, role).run();
  for (const std::string& text : texts) addRemark_.with(key.library, key.uuid, role, text).run();
}

void ExportState::forEachRemark(
    const std::function<void(FileRole role, std::string_view path, std::string_view text)>& take) {
  Statement all(sql_,
                "SELECT r.role, f.path, r.text FROM remark r JOIN file f ON f.library = r.library AND "
                "f.uuid = r.uuid AND f.role = r.role ORDER BY f.path, r.text");
  while (all.row()) take(static_cast<FileRole>(all.integer(0)), all.text(1), all.text(2));
}

bool ExportState::claim(std::string_view path) { return claim_.with(hashOf(foldedFileName(path))).run() > 0; }

bool ExportState::isClaimed(std::string_view path) {
  const bool found = isClaimed_.with(hashOf(foldedFileName(path))).row();
  isClaimed_.reset();
  return found;
}

std::optional<ExportState::Picture> ExportState::picture(const FileKey& key, std::uint64_t size,
                                                         std::int64_t modified) {
  if (!picture_.with(key.library, key.uuid, static_cast<int>(key.role), size, modified).row())
    return std::nullopt;
  const Picture picture{picture_.integer(0), picture_.integer(1), picture_.integer(2)};
  picture_.reset();
  return picture;
}

void ExportState::setPicture(const FileKey& key, std::uint64_t size, std::int64_t modified,
                             const Picture& picture) {
  setPicture_
      .with(key.library, key.uuid, static_cast<int>(key.role), size, modified, picture.width, picture.height,
            picture.orientation)
      .run();
}

void ExportState::forEachPicture(const std::function<void(const StateFile& file)>& take) {
  Statement all(
      sql_,
      "SELECT path, wasThere, sourceSize, sourceModified, size, modified, sha256, facts FROM file WHERE "
      "sourceSize IS NOT NULL AND (role < 16 OR role = 34) ORDER BY path");
  while (all.row()) take(fileOf(all, 0));
}

void ExportState::forEachIdentical(const std::function<void(std::string_view path, bool isFirst)>& take) {
  Statement all(
      sql_,
      "SELECT sha256, path FROM file WHERE role = 0 AND sha256 IN (SELECT sha256 FROM file WHERE role = 0 "
      "AND sha256 <> '' GROUP BY sha256 HAVING count(*) > 1) ORDER BY sha256, path");
  std::string group;
  while (all.row()) {
    const bool isFirst = all.text(0) != group;
    if (isFirst) group = all.text(0);
    take(all.text(1), isFirst);
  }
}

}  // namespace moxtel
