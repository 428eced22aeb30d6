#include "library/database/LibraryDatabases.h"

#include <array>
#include <system_error>
#include <thread>

#include "library/LibraryLocation.h"
#include "library/Messages.h"
#include "library/PathNames.h"
#include "library/database/DatabaseSlot.h"
#include "library/database/QueryRows.h"
#include "platform/files/Files.h"
#include "platform/files/UserFolders.h"
#include "platform/loop/EventLoop.h"
#include "platform/system/SystemLog.h"

namespace moxtel {

namespace {

constexpr EventLoop::Duration kIdleUntilClosed{5000};

Value orNil(const std::optional<std::string>& text) { return text ? Value(*text) : Value(); }

}  // namespace

LibrarySeams::LibrarySeams()
    : temporaryFolder(moxtel::temporaryFolder()),
      freeBytesIn(&moxtel::freeBytesIn),
      grantsLocks(&moxtel::grantsLocks),
      sleep([](std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }) {}

class LibraryDatabases::State final {
 public:
  State(EventLoop& loop, UserDefaults& defaults, ProcessRunner& processes, Messages& messages,
        const PhotoApplicationFlags& flags, LibrarySeams seams)
      : messages_(messages),
        flags_(flags),
        location_(defaults, processes, messages, seams.defaultsTool),
        seams_(std::move(seams)),
        loop_(loop) {}

  DatabaseSlot& slot(DatabaseFile file) { return slots_[static_cast<std::size_t>(file)]; }
  const DatabaseSlot& slot(DatabaseFile file) const { return slots_[static_cast<std::size_t>(file)]; }

  void deriveFileNames();
  void readAttributes();
  bool open(DatabaseFile file);
  Query run(DatabaseFile file, std::string_view sql, std::initializer_list<Value> values);
  void releaseLocks();

  Messages& messages_;
  const PhotoApplicationFlags& flags_;
  LibraryLocation location_;
  std::int32_t openCount_ = 0;
  std::int32_t result_ = SQLITE_OK;
  std::string_view lastSql_;
  std::vector<Value> lastValues_;
  bool refused_ = false;  // SQLite never saw the last query
  std::shared_ptr<CommandFailures> failures_ = std::make_shared<CommandFailures>();
  bool usingDB_ = false;
  bool runStandalone_ = false;
  std::optional<Date> readDate_;
  std::uint64_t readSize_ = 0;

 private:
  std::unique_ptr<Query::Rows> tryRun(DatabaseSlot& slot, std::initializer_list<Value> values);
  void touched();
  void armIdleTimer();

  const LibrarySeams seams_;
  EventLoop& loop_;
  GuardedVfs readOnly_;
  std::array<DatabaseSlot, 4> slots_{
      DatabaseSlot(seams_, readOnly_, messages_), DatabaseSlot(seams_, readOnly_, messages_),
      DatabaseSlot(seams_, readOnly_, messages_), DatabaseSlot(seams_, readOnly_, messages_)};
  std::unique_ptr<Timer> idle_;
  bool releasePosted_ = false;
  bool usedSinceRelease_ = false;
  // Goes with this object, so that a task posted before does nothing after.
  std::shared_ptr<State*> alive_ = std::make_shared<State*>(this);
};

void LibraryDatabases::State::deriveFileNames() {
  constexpr const char* kNames[] = {"Database/apdb/Library.apdb", "Database/apdb/ImageProxies.apdb",
                                    "Database/apdb/Properties.apdb", "Database/apdb/Faces.db"};
  for (std::size_t i = 0; i < slots_.size(); ++i) {
    slots_[i].setPath(location_.path() ? std::optional(appendingPathComponent(*location_.path(), kNames[i]))
                                       : std::nullopt);
  }
}

void LibraryDatabases::State::readAttributes() {
  const auto& path = slot(DatabaseFile::Library).path();
  const FileStamp stamp = path ? stampOf(*path) : FileStamp{.error = ENOENT};
  if (stamp.kind == FileStamp::Kind::Missing) {
    const std::string why = std::error_code(stamp.error, std::generic_category()).message();
    messages_.showTitle("Error",
                        unreadableDataMessage("iPhoto or Aperture data",
                                              path ? *path + ": " + why : "no library path is known"));
    runStandalone_ = true;
    return;
  }
  usingDB_ = true;
  readDate_ = Date{stamp.modifiedDate()};
  readSize_ = stamp.size;
  NSLog("done");
}

// What a command leaves behind ends at the latest when the loop goes on.
void LibraryDatabases::State::touched() {
  usedSinceRelease_ = true;
  if (releasePosted_) return;
  releasePosted_ = true;
  loop_.post([weak = std::weak_ptr(alive_)] {
    if (const auto alive = weak.lock()) {
      (*alive)->releasePosted_ = false;
      (*alive)->releaseLocks();
    }
  });
}

void LibraryDatabases::State::releaseLocks() {
  for (DatabaseSlot& each : slots_) each.releaseLocks();
  if (usedSinceRelease_) armIdleTimer();
  usedSinceRelease_ = false;
}

void LibraryDatabases::State::armIdleTimer() {
  idle_ = loop_.callAfter(kIdleUntilClosed, [this] {
    for (DatabaseSlot& each : slots_) each.close();
  });
}

bool LibraryDatabases::State::open(DatabaseFile file) {
  DatabaseSlot& opening = slot(file);
  touched();
  result_ = opening.open();
  if (result_ == SQLITE_OK) {
    // No lock yet. The queries that follow take the file as it is now, without asking about it again.
    opening.connection()->begin();
    return true;
  }
  failures_->any = true;
  NSLog("could not open db '%@', result: %d", orNil(opening.path()), result_);
  return false;
}

std::unique_ptr<Query::Rows> LibraryDatabases::State::tryRun(DatabaseSlot& slot,
                                                             std::initializer_list<Value> values) {
  const std::shared_ptr<DatabaseConnection>& connection = slot.connection();
  connection->begin();
  auto statement = connection->statement(lastSql_);
  if (statement) {
    auto rows = std::make_unique<Query::Rows>(connection, std::move(statement), values, failures_);
    if (rows->prepared()) return rows;
  }
  result_ = connection->lastError();
  return nullptr;
}

Query LibraryDatabases::State::run(DatabaseFile file, std::string_view sql,
                                   std::initializer_list<Value> values) {
  lastSql_ = sql;
  lastValues_.assign(values.begin(), values.end());
  refused_ = false;
  for (const Value& value : values) {
    if (value.isString() && breaksOutOfLiteral(value.string())) {
      refused_ = true;
      result_ = SQLITE_ERROR;
      return Query(nullptr);
    }
  }
  DatabaseSlot& asked = slot(file);
  touched();
  std::unique_ptr<Query::Rows> rows;
  result_ = asked.open();
  if (result_ == SQLITE_OK) rows = tryRun(asked, values);
  if (!rows && asked.resortToCopy(result_)) rows = tryRun(asked, values);
  if (rows) {
    result_ = SQLITE_OK;
  } else {
    failures_->any = true;
    result_ = result_ == SQLITE_OK ? SQLITE_ERROR : result_ & 0xff;
  }
  return Query(std::move(rows));
}

LibraryDatabases::LibraryDatabases(EventLoop& loop, UserDefaults& defaults, ProcessRunner& processes,
                                   Messages& messages, const PhotoApplicationFlags& flags, LibrarySeams seams)
    : state_(std::make_unique<State>(loop, defaults, processes, messages, flags, std::move(seams))) {}

LibraryDatabases::~LibraryDatabases() = default;

void LibraryDatabases::readPhotoAppDefaults() {
  const bool iPhoto = !preferAperture || state_->flags_.connectedWithIPhoto;
  state_->location_.find(iPhoto ? "com.apple.iPhoto" : "com.apple.Aperture");
}

void LibraryDatabases::loadDatabase() {
  NSLog("\n\n--------------------------------- RELOAD DATABASE --------------------\n\n");
  readPhotoAppDefaults();
  state_->deriveFileNames();
  NSLog("databaseFilename: '%@', proxiesDBFilename: '%@'", orNil(pathOf(DatabaseFile::Library)),
        orNil(pathOf(DatabaseFile::ImageProxies)));
  state_->readAttributes();
  if (libraryPath()) explainPathOutsideAscii(*libraryPath(), state_->messages_);
}

bool LibraryDatabases::openDatabase() {
  if (state_->openCount_++ > 0) return true;
  return state_->open(DatabaseFile::Library);
}

void LibraryDatabases::closeDatabase() {
  if (--state_->openCount_ < 0) state_->openCount_ = 0;
}

bool LibraryDatabases::openProxiesDB() { return state_->open(DatabaseFile::ImageProxies); }
bool LibraryDatabases::openPropsDB() { return state_->open(DatabaseFile::Properties); }
bool LibraryDatabases::openFacesDB() { return state_->open(DatabaseFile::Faces); }

// Their connections are kept: what closing is for, that no lock is held, releaseLocks() does.
void LibraryDatabases::closeProxiesDB() {}
void LibraryDatabases::closePropsDB() {}
void LibraryDatabases::closeFacesDB() {}

Query LibraryDatabases::run(DatabaseFile file, SqlText sql, std::initializer_list<Value> values) {
  Query rows = runUnlogged(file, sql, values);
  if (!rows.prepared()) NSLog("could not prepare query '%@'", query());
  return rows;
}

Query LibraryDatabases::runUnlogged(DatabaseFile file, SqlText sql, std::initializer_list<Value> values) {
  return state_->run(file, sql.view(), values);
}

Value LibraryDatabases::versionUuidFromModelId(std::int64_t modelId) {
  (void)openDatabase();
  Value uuid;
  {
    Query rows = run(DatabaseFile::Library, "SELECT uuid FROM RKVersion WHERE modelId = %ld", {modelId});
    if (rows.step()) uuid = rows.stringColumn(0);
  }
  closeDatabase();
  return uuid;
}

void LibraryDatabases::releaseLocks() { state_->releaseLocks(); }

void LibraryDatabases::beginCommand() {
  state_->failures_->any = false;
  for (std::size_t i = 0; i < 4; ++i) state_->slot(static_cast<DatabaseFile>(i)).beginCommand();
}

bool LibraryDatabases::sawFailure() const { return state_->failures_->any; }

const std::optional<std::string>& LibraryDatabases::libraryPath() const { return state_->location_.path(); }
std::optional<std::string> LibraryDatabases::pathOf(DatabaseFile file) const {
  return state_->slot(file).path();
}
std::string LibraryDatabases::query() const { return filledIn(state_->lastSql_, state_->lastValues_); }
std::int32_t LibraryDatabases::result() const { return state_->result_; }
std::int32_t LibraryDatabases::databaseOpenCount() const { return state_->openCount_; }
const char* LibraryDatabases::errorMessage(DatabaseFile file) const {
  const DatabaseSlot& slot = state_->slot(file);
  if (state_->refused_ || !slot.isOpen()) return sqlite3_errstr(state_->result_);
  return slot.connection()->lastMessage();
}
bool LibraryDatabases::usingDB() const { return state_->usingDB_; }
bool LibraryDatabases::runStandalone() const { return state_->runStandalone_; }
std::optional<Date> LibraryDatabases::databaseReadDate() const { return state_->readDate_; }
std::uint64_t LibraryDatabases::databaseReadSize() const { return state_->readSize_; }

void LibraryDatabases::rememberRead(Date modified, std::uint64_t size) {
  state_->readDate_ = modified;
  state_->readSize_ = size;
}

void LibraryDatabases::resetStandalone() { state_->runStandalone_ = false; }

}  // namespace moxtel
