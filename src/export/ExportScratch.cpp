#include "export/ExportScratch.h"

#include "library/FileNameForms.h"

namespace moxtel {

namespace {

constexpr const char* kSchema = R"(
CREATE TABLE member (library INTEGER, album INTEGER, position INTEGER, photo INTEGER,
                     PRIMARY KEY (library, album, position)) WITHOUT ROWID;
CREATE INDEX albumOfMember ON member (library, photo, album);
CREATE TABLE selected (library INTEGER, photo INTEGER, PRIMARY KEY (library, photo)) WITHOUT ROWID;
CREATE TABLE photo (library INTEGER, id INTEGER, uuid TEXT, original TEXT, wanted INTEGER,
                    PRIMARY KEY (library, id)) WITHOUT ROWID;
CREATE TABLE owner (library INTEGER, master TEXT, uuid TEXT, PRIMARY KEY (library, master)) WITHOUT ROWID;
CREATE TABLE pending (library INTEGER, id INTEGER, uuid TEXT, folder TEXT, date REAL, stem TEXT, name TEXT, files TEXT);
CREATE TABLE todo (library INTEGER, id INTEGER, roles INTEGER, PRIMARY KEY (library, id)) WITHOUT ROWID;
CREATE TABLE retry (library INTEGER, id INTEGER, roles INTEGER, PRIMARY KEY (library, id)) WITHOUT ROWID;
CREATE TABLE known (hash INTEGER PRIMARY KEY);
CREATE TABLE twin (library INTEGER, name TEXT, size INTEGER, date INTEGER,
                   PRIMARY KEY (library, name, size, date)) WITHOUT ROWID;
)";

// FNV-1a. A hash, because paths are long and there are many.
std::int64_t hashOfPath(std::int64_t library, std::string_view path) {
  std::uint64_t hash = 14695981039346656037u + static_cast<std::uint64_t>(library);
  for (const char c : foldedFileName(path)) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211u;
  return static_cast<std::int64_t>(hash);
}

}  // namespace

ExportScratch::Tables::Tables(StateSql& sql) {
  sql.execute(
      "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; PRAGMA cache_size = -8000;"
      "PRAGMA temp_store = FILE;");
  sql.execute(kSchema);
  sql.execute("BEGIN");
}

ExportScratch::ExportScratch()
    : sql_(std::string()),
      tables_(sql_),
      addMember_(sql_, "INSERT OR IGNORE INTO member VALUES (?, ?, ?, ?)"),
      albumsOf_(sql_, "SELECT album FROM member WHERE library = ? AND photo = ? ORDER BY album"),
      select_(sql_, "INSERT OR IGNORE INTO selected VALUES (?, ?)"),
      isSelected_(sql_, "SELECT 1 FROM selected WHERE library = ? AND photo = ?"),
      addPhoto_(sql_, "INSERT OR REPLACE INTO photo VALUES (?, ?, ?, ?, ?)"),
      photo_(sql_, "SELECT uuid, original, wanted FROM photo WHERE library = ? AND id = ?"),
      addOwner_(sql_, "INSERT OR IGNORE INTO owner VALUES (?, ?, ?)"),
      owner_(sql_, "SELECT uuid FROM owner WHERE library = ? AND master = ?"),
      addPending_(sql_, "INSERT INTO pending VALUES (?, ?, ?, ?, ?, ?, ?, ?)"),
      addTodo_(sql_, "INSERT OR IGNORE INTO todo VALUES (?, ?, ?)"),
      nextTodo_(sql_, "SELECT min(id) FROM todo WHERE library = ? AND id >= ?"),
      todo_(sql_, "SELECT roles FROM todo WHERE library = ? AND id = ?"),
      addRetry_(
          sql_,
          "INSERT INTO retry VALUES (?, ?, ?) ON CONFLICT DO UPDATE SET roles = roles | excluded.roles"),
      addKnown_(sql_, "INSERT OR IGNORE INTO known VALUES (?)"),
      isKnown_(sql_, "SELECT 1 FROM known WHERE hash = ?"),
      addTwin_(sql_, "INSERT OR IGNORE INTO twin VALUES (?, ?, ?, ?)") {}

void ExportScratch::addMember(std::int64_t album, std::int64_t position, std::int64_t modelId) {
  addMember_.with(current_, album, position, modelId).run();
}

std::vector<std::int64_t> ExportScratch::albumsOf(std::int64_t modelId) {
  std::vector<std::int64_t> albums;
  for (albumsOf_.with(current_, modelId); albumsOf_.row();) albums.push_back(albumsOf_.integer(0));
  return albums;
}

void ExportScratch::forEachMember(std::int64_t album, const std::function<void(std::int64_t modelId)>& take) {
  Statement members(sql_, "SELECT photo FROM member WHERE library = ? AND album = ? ORDER BY position");
  for (members.with(current_, album); members.row();) take(members.integer(0));
}

void ExportScratch::select(std::int64_t modelId) { select_.with(current_, modelId).run(); }

bool ExportScratch::isSelected(std::int64_t modelId) {
  const bool found = isSelected_.with(current_, modelId).row();
  isSelected_.reset();
  return found;
}

void ExportScratch::addPhoto(std::int64_t library, std::int64_t modelId, std::string_view uuid,
                             std::string_view originalUuid, bool isWanted) {
  addPhoto_.with(library, modelId, uuid, originalUuid, isWanted ? 1 : 0).run();
}

std::optional<ExportScratch::Photo> ExportScratch::photo(std::int64_t library, std::int64_t modelId) {
  if (!photo_.with(library, modelId).row()) return std::nullopt;
  Photo photo{std::string(photo_.text(0)), std::string(photo_.text(1)), photo_.integer(2) != 0};
  photo_.reset();
  return photo;
}

std::string ExportScratch::ownerOf(std::int64_t library, std::string_view master, std::string_view uuid) {
  if (!uuid.empty()) addOwner_.with(library, master, uuid).run();
  std::string owner;
  if (owner_.with(library, master).row()) owner = owner_.text(0);
  owner_.reset();
  return owner;
}

void ExportScratch::addPending(const PendingPhoto& photo) {
  addPending_
      .with(photo.library, photo.modelId, photo.uuid, photo.folder, photo.date, photo.stem, photo.name,
            photo.files)
      .run();
}

void ExportScratch::forEachPending(const std::function<void(const PendingPhoto&)>& take) {
  Statement rows(sql_,
                 "SELECT library, id, uuid, folder, date, stem, name, files FROM pending ORDER BY folder, "
                 "date, uuid, id");
  while (rows.row()) {
    take({rows.integer(0), rows.integer(1), std::string(rows.text(2)), std::string(rows.text(3)),
          rows.real(4), std::string(rows.text(5)), std::string(rows.text(6)), std::string(rows.text(7))});
  }
}

void ExportScratch::clearPending() { sql_.execute("DELETE FROM pending"); }

void ExportScratch::addTodo(std::int64_t library, std::int64_t modelId, std::int64_t roles) {
  addTodo_.with(library, modelId, roles).run();
}

std::optional<std::int64_t> ExportScratch::nextTodo(std::int64_t library, std::int64_t from) {
  std::optional<std::int64_t> next;
  if (nextTodo_.with(library, from).row() && !nextTodo_.isNull(0)) next = nextTodo_.integer(0);
  nextTodo_.reset();
  return next;
}

std::optional<std::int64_t> ExportScratch::todo(std::int64_t library, std::int64_t modelId) {
  if (!todo_.with(library, modelId).row()) return std::nullopt;
  const std::int64_t roles = todo_.integer(0);
  todo_.reset();
  return roles;
}

void ExportScratch::addRetry(std::int64_t library, std::int64_t modelId, std::int64_t roles) {
  addRetry_.with(library, modelId, roles).run();
}

bool ExportScratch::takeRetries() {
  sql_.execute("DELETE FROM todo; INSERT INTO todo SELECT library, id, roles FROM retry; DELETE FROM retry;");
  Statement any(sql_, "SELECT 1 FROM todo LIMIT 1");
  return any.row();
}

void ExportScratch::addKnown(std::string_view path) { addKnown_.with(hashOfPath(current_, path)).run(); }

bool ExportScratch::isKnown(std::string_view path) {
  const bool found = isKnown_.with(hashOfPath(current_, path)).row();
  isKnown_.reset();
  return found;
}

void ExportScratch::addTwin(std::int64_t library, std::string_view name, std::uint64_t size, double date) {
  addTwin_.with(library, foldedFileName(name), size, static_cast<std::int64_t>(date)).run();
}

std::int64_t ExportScratch::commonPhotos(std::int64_t a, std::int64_t b) {
  Statement common(
      sql_,
      "SELECT count(*) FROM twin a JOIN twin b ON b.library = ? AND b.name = a.name AND b.size = a.size AND "
      "b.date = a.date WHERE a.library = ?");
  common.with(b, a).row();
  return common.integer(0);
}

std::int64_t ExportScratch::photosOf(std::int64_t library) {
  Statement count(sql_, "SELECT count(*) FROM twin WHERE library = ?");
  count.with(library).row();
  return count.integer(0);
}

}  // namespace moxtel
