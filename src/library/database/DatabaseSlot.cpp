#include "library/database/DatabaseSlot.h"

#include "library/Messages.h"
#include "library/PathNames.h"

namespace moxtel {

DatabaseSlot::DatabaseSlot(const LibrarySeams& seams, GuardedVfs& readOnly, Messages& messages,
                           SchemaAdapter adapter)
    : seams_(seams),
      readOnly_(readOnly),
      messages_(messages),
      reading_{std::move(adapter), {}},
      budget_(seams.sleep, seams.isEnding) {}

void DatabaseSlot::setPath(const std::optional<std::string>& path, Reading reading) {
  reading_ = std::move(reading);
  if (path == path_) return;
  close();
  copy_.reset();
  copyFailed_ = false;
  isExhausted_ = false;
  filled_.reset();
  names_.reset();
  lastMessage_.clear();
  path_ = path;
}

void DatabaseSlot::close() {
  if (connection_ && connection_->isOverworked()) isExhausted_ = true;
  connection_.reset();
}

int DatabaseSlot::open() {
  wasTried_ = true;
  if (connection_ && connection_->inTransaction()) return SQLITE_OK;
  if (!path_ || !isUtf8Path(*path_)) return SQLITE_CANTOPEN;
  if (connection_ && !connection_->isDoubtful() && isUnchanged()) return SQLITE_OK;
  close();
  if (seams_.permits && !seams_.permits(*path_)) return SQLITE_CANTOPEN;
  names_.emplace(*path_);
  const DatabaseStamp now = names_->stamp();
  if (copy_ && !(copy_->stamp() == now)) copy_.reset();
  stamp_ = now;
  // Only a regular file is opened: opening a named pipe would wait for its other end.
  return now.file.isRegular() ? openOriginal() : SQLITE_CANTOPEN;
}

// SQLite itself checks the journals beside the file that it reads, whenever it takes its lock.
bool DatabaseSlot::isUnchanged() const {
  return readsCopy_ ? names_->stamp() == stamp_ : stampOf(names_->file()) == stamp_.file;
}

int DatabaseSlot::openOriginal() {
  if (reading_.fill) return openFilled();
  if (copy_) return connect(copy_->path(), copy_->vfs(), true);
  const int code = connect(names_->file(), readOnly_, false);
  if (code != SQLITE_OK || readOnly_.grantedLocks()) return code;
  close();
  return openCopy(Reason::NoLocks) ? SQLITE_OK : SQLITE_CANTOPEN;
}

// The database in memory is made once for each state of the file.
int DatabaseSlot::openFilled() {
  if (!filled_ || !(filledStamp_ == stamp_.file)) {
    filled_ = reading_.fill(names_->file());
    filledStamp_ = stamp_.file;
    if (!filled_->error.empty()) reportFilling("cannot be read: " + filled_->error + ".", "Error");
    if (!filled_->mended.empty()) reportFilling("is odd: " + filled_->mended + ".", "Info");
  }
  if (filled_->bytes.empty()) return SQLITE_CANTOPEN;
  auto connection = std::make_shared<std::pair<std::shared_ptr<const AlbumDataDatabase>, DatabaseConnection>>(
      std::piecewise_construct, std::forward_as_tuple(filled_),
      std::forward_as_tuple(std::span<const std::uint8_t>(filled_->bytes), budget_, reading_.adapter));
  const int code = connection->second.openResult();
  if (code == SQLITE_OK) connection_ = {connection, &connection->second};
  readsCopy_ = false;
  return code;
}

void DatabaseSlot::reportFilling(const std::string& what, const char* title) {
  const std::string line = "'" + *path_ + "' " + what;
  if (line == lastMessage_) return;
  lastMessage_ = line;
  messages_.showTitle(title, line);
}

int DatabaseSlot::connect(const std::string& path, GuardedVfs& vfs, bool writable) {
  // The copy lives as long as a connection to it.
  auto connection = std::make_shared<std::pair<std::shared_ptr<PrivateCopy>, DatabaseConnection>>(
      std::piecewise_construct, std::forward_as_tuple(writable ? copy_ : nullptr),
      std::forward_as_tuple(path, vfs, writable, budget_, reading_.adapter));
  const int code = connection->second.openResult();
  if (code == SQLITE_OK) connection_ = {connection, &connection->second};
  if (code == SQLITE_OK && isExhausted_) connection_->exhaustWork();
  readsCopy_ = writable;
  return code;
}

DatabaseSlot::Reason DatabaseSlot::reasonOf(int extendedCode) {
  switch (extendedCode & 0xff) {
    case SQLITE_READONLY:
      return Reason::Journal;
    case SQLITE_CANTOPEN:
      return Reason::WriteAheadLog;
    default:
      return Reason::None;
  }
}

const char* DatabaseSlot::describe(Reason reason) {
  switch (reason) {
    case Reason::Journal:
      return "a change to it was not finished and its journal is still there";
    case Reason::WriteAheadLog:
      return "it is kept with a write-ahead log";
    case Reason::NoLocks:
      return "its file system grants no locks";
    case Reason::None:
      break;
  }
  return "";
}

bool DatabaseSlot::resortToCopy(int extendedCode) {
  const Reason reason = reasonOf(extendedCode);
  // A file that could not be opened, because it is missing or not permitted, cannot be copied either.
  if (reason == Reason::None || copy_ || copyFailed_ || !names_ || !connection_) return false;
  close();
  // A file that could not be opened for a moment fails with the same code, and needs no copy.
  if (reason == Reason::WriteAheadLog && readOnly_.takeRefusedLog() != names_->wal()) return false;
  return openCopy(reason);
}

bool DatabaseSlot::openCopy(Reason reason) {
  return makeCopy(reason) && connect(copy_->path(), copy_->vfs(), true) == SQLITE_OK;
}

bool DatabaseSlot::makeCopy(Reason reason) {
  if (copyFailed_) return false;
  // Copying takes time, too. It is repeated for at most as long as a command waits for a busy database.
  const auto end = std::chrono::steady_clock::now() + BusyBudget::kWhole;
  const auto wait = [&] { return std::chrono::steady_clock::now() < end && budget_.wait(); };
  auto copy = std::make_shared<PrivateCopy>(*names_, seams_, wait);
  report(reason, copy->failure());
  copyFailed_ = !copy->failure().empty();
  if (copyFailed_) return false;
  copy_ = std::move(copy);
  stamp_ = copy_->stamp();
  return true;
}

void DatabaseSlot::report(Reason reason, const std::string& failure) {
  std::string line = "'" + *path_ + "' cannot be read where it is, for " + describe(reason) + ". ";
  line +=
      failure.empty() ? "A private copy of it is read." : "No private copy could be made: " + failure + ".";
  if (line == lastMessage_) return;
  lastMessage_ = line;
  messages_.showTitle(failure.empty() ? "Info" : "Error", line);
}

void DatabaseSlot::releaseLocks() {
  if (connection_) connection_->end();
}

DatabaseProblem DatabaseSlot::problem() const {
  using Kind = DatabaseProblem::Kind;
  if (!connection_) return path_ && isUtf8Path(*path_) ? problemOfAbsentFile(*path_) : DatabaseProblem{};
  if (connection_->damage() != SQLITE_OK) return {Kind::Damaged, sqlite3_errstr(connection_->damage())};
  const AdaptedSchema& schema = connection_->schema();
  if (schema.isWithoutTables) return {Kind::WithoutTables, {}};
  if (schema.version == "Photos 1") return {Kind::NotServed, schema.version};
  if (schema.missing.empty()) return {};
  std::string missing;
  for (const std::string& each : schema.missing) missing += (missing.empty() ? "" : ", ") + each;
  return {Kind::Incomplete, missing};
}

}  // namespace moxtel
