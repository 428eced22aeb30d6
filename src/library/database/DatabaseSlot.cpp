#include "library/database/DatabaseSlot.h"

#include "library/Messages.h"
#include "library/PathNames.h"
#include "platform/files/LockedFiles.h"
#include "support/Localization.h"
#include "value/Format.h"

namespace moxtel {

DatabaseSlot::DatabaseSlot(const LibrarySeams& seams, DatabaseFileSystems& files, Messages& messages,
                           SchemaAdapter adapter)
    : seams_(seams),
      files_(files),
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
  changedWhileRead_ = false;
  isOutdated_ = false;
  filled_.reset();
  names_.reset();
  lastMessage_.clear();
  path_ = path;
}

void DatabaseSlot::close() {
  if (connection_ && connection_->isOverworked()) isExhausted_ = true;
  connection_.reset();
}

void DatabaseSlot::closeFile() {
  if (source_ != Source::Copy && source_ != Source::Memory) close();
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
  if (copy_ && !isRecent(*copy_, now)) copy_.reset();
  stamp_ = now;
  // Only a regular file is opened: opening a named pipe would wait for its other end.
  return now.file.isRegular() ? openOriginal() : SQLITE_CANTOPEN;
}

bool DatabaseSlot::isUnchanged() const {
  switch (source_) {
    case Source::Copy:
      return isRecent(*copy_, names_->stamp());
    case Source::QuietFile:
      return names_->stamp() == stamp_;
    case Source::FileAndLog:  // tables made for the connection are those of this state of the log
      return names_->stamp() == stamp_;
    case Source::File:  // SQLite itself checks the journals beside it, whenever it takes its lock
    case Source::Memory:
      break;
  }
  return stampOf(names_->file()) == stamp_.file;
}

// An unchanged original, or one to which a program writes.
bool DatabaseSlot::isRecent(const PrivateCopy& copy, const DatabaseStamp& now) const {
  if (copy.stamp() == now) return true;
  return reading_.readsLogInPlace && now.hasLog() && isSameFile(now.file, copy.stamp().file) &&
         seams_.now() - copy.copied() < kBetweenCopies;
}

int DatabaseSlot::openOriginal() {
  if (reading_.fill) return openFilled();
  if (copy_) return connect(Source::Copy);
  const int code = connect(Source::File);
  if (code != SQLITE_OK) return code;
  if (reading_.readsLogInPlace && connection_->usesLog()) return openWithLog();
  if (files_.readOnly.grantedLocks()) return code;
  close();
  return openCopy(Reason::NoLocks) ? SQLITE_OK : SQLITE_CANTOPEN;
}

int DatabaseSlot::openWithLog() {
  close();
  const bool wasChanged = std::exchange(changedWhileRead_, false);
  if (!wasChanged && !stamp_.hasLog() && stamp_.journal.kind == FileStamp::Kind::Missing)
    return connect(Source::QuietFile);
  if (canShareLog()) return connect(Source::FileAndLog);
  return openCopy(Reason::WriteAheadLog) ? SQLITE_OK : SQLITE_CANTOPEN;
}

// The -shm file is mapped, which works between programs on one computer.
bool DatabaseSlot::canShareLog() const {
  const FileStamp shared = stampOf(names_->sharedMemory());
  return stamp_.wal.isRegular() && stamp_.wal.size > 0 && shared.isRegular() && !isLockedFile(shared) &&
         files_.readOnly.grantedLocks() && seams_.isOnLocalDisk(names_->file());
}

// The database in memory is made once for each state of the file.
int DatabaseSlot::openFilled() {
  const auto fits = [this](const FilledDatabase& filled) { return filled.stamp == stamp_.file; };
  const auto fill = [this] {
    return std::make_shared<const FilledDatabase>(FilledDatabase{stamp_.file, reading_.fill(names_->file())});
  };
  if (!filled_ || !fits(*filled_)) {
    filled_ = seams_.shared->filled.take(names_->file(), fits, fill, seams_.isEnding);
    if (!filled_) return SQLITE_CANTOPEN;
    const AlbumDataDatabase& content = *filled_->content;
    if (!content.error.empty())
      reportFilling(UserText::tr("'%@' cannot be read: %@."), content.error, "Error");
    if (!content.mended.empty()) reportFilling(UserText::tr("'%@' is odd: %@."), content.mended, "Info");
  }
  const std::vector<std::uint8_t>& bytes = filled_->content->bytes;
  if (bytes.empty()) return SQLITE_CANTOPEN;
  auto connection = std::make_shared<std::pair<std::shared_ptr<const FilledDatabase>, DatabaseConnection>>(
      std::piecewise_construct, std::forward_as_tuple(filled_),
      std::forward_as_tuple(std::span<const std::uint8_t>(bytes), budget_, reading_.adapter));
  const int code = connection->second.openResult();
  if (code == SQLITE_OK) connection_ = {connection, &connection->second};
  source_ = Source::Memory;
  return code;
}

void DatabaseSlot::reportFilling(const std::string& sentence, const std::string& why, const char* title) {
  const std::string line = formatRuntime(sentence, *path_, why);
  if (line == lastMessage_) return;
  lastMessage_ = line;
  messages_.showTitle(title, line);
}

int DatabaseSlot::connect(Source source) {
  using Access = DatabaseConnection::Access;
  const bool isCopy = source == Source::Copy;
  const Access access = source == Source::File         ? Access::ReadOnly
                        : source == Source::FileAndLog ? Access::SharedLog
                                                       : Access::Immutable;
  GuardedVfs& vfs = source == Source::File ? files_.readOnly : files_.readingLogs;
  const auto helpers = [this](sqlite3* database, const std::vector<HelperStep>& steps) {
    return helpersFor(database, steps);
  };
  // The copy lives as long as a connection to it.
  auto connection = std::make_shared<std::pair<std::shared_ptr<const PrivateCopy>, DatabaseConnection>>(
      std::piecewise_construct, std::forward_as_tuple(isCopy ? copy_ : nullptr),
      std::forward_as_tuple(isCopy ? copy_->path() : names_->file(), vfs, access, budget_, reading_.adapter,
                            seams_.cacheSize, helpers));
  const int code = connection->second.openResult();
  if (code == SQLITE_OK) connection_ = {connection, &connection->second};
  if (code == SQLITE_OK && isExhausted_) connection_->exhaustWork();
  source_ = source;
  return code;
}

// For connection_, when it is used for the first time.
std::shared_ptr<const HelperTables> DatabaseSlot::helpersFor(sqlite3* database,
                                                             const std::vector<HelperStep>& steps) {
  const bool isCopy = source_ == Source::Copy;
  const DatabaseStamp state = isCopy ? copy_->stamp() : stamp_;
  std::string key = isCopy ? copy_->path() : names_->file();
  for (const HelperStep& step : steps) key += "\n" + step.statement + "\n" + step.rows;
  const auto fits = [&](const HelperTables& made) { return made.stamp == state; };
  const auto make = [&] {
    auto made = std::make_shared<HelperTables>(database, steps);
    if (made->code() == SQLITE_OK && (isCopy || names_->stamp() == state)) made->stamp = state;
    return made;
  };
  return seams_.shared->helpers.take(key, fits, make, seams_.isEnding);
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

// The -shm file or the log went away, or is in a state that only a writer can mend.
bool DatabaseSlot::isFailureOfLog(int extendedCode) {
  const int code = extendedCode & 0xff;
  return code == SQLITE_READONLY || code == SQLITE_CANTOPEN || code == SQLITE_PROTOCOL ||
         code == SQLITE_IOERR;
}

const char* DatabaseSlot::describe(Reason reason) {
  switch (reason) {
    case Reason::Journal:
      return UserText::later("a change to it was not finished and its journal is still there");
    case Reason::WriteAheadLog:
      return UserText::later("it is kept with a write-ahead log");
    case Reason::NoLocks:
      return UserText::later("its file system grants no locks");
    case Reason::None:
      break;
  }
  return "";
}

bool DatabaseSlot::resortToCopy(int extendedCode) {
  const bool failedAtLog = source_ == Source::FileAndLog && isFailureOfLog(extendedCode);
  const Reason reason = failedAtLog ? Reason::WriteAheadLog : reasonOf(extendedCode);
  // A file that could not be opened, because it is missing or not permitted, cannot be copied either.
  if (reason == Reason::None || copy_ || copyFailed_ || !names_ || !connection_) return false;
  close();
  // A file that could not be opened for a moment fails with the same code, and needs no copy.
  if (reason == Reason::WriteAheadLog && !failedAtLog && files_.readOnly.takeRefusedLog() != names_->wal())
    return false;
  return openCopy(reason);
}

bool DatabaseSlot::openCopy(Reason reason) { return makeCopy(reason) && connect(Source::Copy) == SQLITE_OK; }

bool DatabaseSlot::makeCopy(Reason reason) {
  if (copyFailed_) return false;
  // Copying takes time, too. It is repeated for at most as long as a command waits for a busy database.
  const auto end = std::chrono::steady_clock::now() + BusyBudget::kWhole;
  const auto wait = [&] { return std::chrono::steady_clock::now() < end && budget_.wait(); };
  const auto fits = [this](const PrivateCopy& copy) {
    return copy.failure().empty() && isRecent(copy, stamp_);
  };
  const auto make = [&] { return std::make_shared<const PrivateCopy>(*names_, seams_, wait); };
  auto copy = seams_.shared->copies.take(names_->file(), fits, make, seams_.isEnding);
  copyFailed_ = !copy || !copy->failure().empty();
  if (!copy) return false;
  report(reason, copy->failure());
  if (copyFailed_) return false;
  copy_ = std::move(copy);
  stamp_ = copy_->stamp();
  return true;
}

void DatabaseSlot::report(Reason reason, const std::string& failure) {
  const std::string why = localizedString(describe(reason));
  const std::string line =
      failure.empty()
          ? formatRuntime(
                UserText::tr("'%@' cannot be read where it is, for %@. A private copy of it is read."),
                *path_, why)
          : formatRuntime(UserText::tr("'%@' cannot be read where it is, for %@. No private copy could be "
                                       "made: %@."),
                          *path_, why, failure);
  if (line == lastMessage_) return;
  lastMessage_ = line;
  messages_.showTitle(failure.empty() ? "Info" : "Error", line);
}

bool DatabaseSlot::releaseLocks() {
  if (!connection_) return true;
  const bool wasRead = connection_->inTransaction();
  connection_->end();
  if (!wasRead || source_ != Source::QuietFile || isUnchanged()) return true;
  close();
  changedWhileRead_ = isOutdated_ = true;
  return false;
}

bool DatabaseSlot::takeOutdated() {
  if (std::exchange(isOutdated_, false)) return true;
  if (!copy_) return false;
  const DatabaseStamp now = names_->stamp();
  return !isRecent(*copy_, now);
}

DatabaseProblem DatabaseSlot::problem() const {
  using Kind = DatabaseProblem::Kind;
  if (!connection_) return path_ && isUtf8Path(*path_) ? problemOfAbsentFile(*path_) : DatabaseProblem{};
  if (connection_->damage() != SQLITE_OK) return {Kind::Damaged, sqlite3_errstr(connection_->damage())};
  const AdaptedSchema& schema = connection_->schema();
  if (schema.isWithoutTables) return {Kind::WithoutTables, {}};
  if (schema.isNotServed) return {Kind::NotServed, schema.version};
  if (schema.missing.empty()) return {};
  std::string missing;
  for (const std::string& each : schema.missing) missing += (missing.empty() ? "" : ", ") + each;
  return {Kind::Incomplete, missing};
}

}  // namespace moxtel
