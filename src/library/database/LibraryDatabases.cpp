#include "library/database/LibraryDatabases.h"

#include <thread>

#include "library/PathNames.h"
#include "library/database/DatabaseSlot.h"
#include "library/database/PrivateCopy.h"
#include "pictures/codec/HelperProgram.h"
#include "platform/files/Files.h"
#include "platform/files/UserFolders.h"
#include "platform/loop/EventLoop.h"
#include "platform/system/SystemLog.h"

namespace moxtel {

namespace {

constexpr EventLoop::Duration kIdleUntilClosed{5000};

}  // namespace

LibrarySeams::LibrarySeams()
    : temporaryFolder(moxtel::temporaryFolder()),
      freeBytesIn(&moxtel::freeBytesIn),
      copier(installedProgram("moxtel-database-copier")),
      run([](const ProcessRequest& request) { return SystemProcessRunner().run(request); }),
      grantsLocks(&moxtel::grantsLocks),
      isOnLocalDisk(&moxtel::isOnLocalDisk),
      now(&std::chrono::steady_clock::now),
      sleep([](std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }),
      isEnding([] { return false; }),
      shared(SharedDatabases::ofProcess()) {}

LibraryDatabases::LibraryDatabases(EventLoop& loop, Messages& messages, LibrarySeams seams)
    : loop_(loop),
      seams_(std::move(seams)),
      files_(std::make_unique<DatabaseFileSystems>(seams_.grantsLocks)),
      problems_(messages) {
  PrivateCopy::sweep(seams_.temporaryFolder);
  layout_ = layoutOfLibrary({});
  for (std::size_t i = 0; i < slots_.size(); ++i) {
    ownSlots_[i] = std::make_unique<DatabaseSlot>(seams_, *files_, messages, layout_.adapters[i]);
    slots_[i] = ownSlots_[i].get();
  }
}

LibraryDatabases::~LibraryDatabases() = default;

void LibraryDatabases::useLibrary(const std::optional<std::string>& libraryPath) {
  libraryPath_ = libraryPath;
  layout_ = layoutOf(libraryPath.value_or(std::string()));
  useLayout();
}

LibraryLayout LibraryDatabases::layoutOf(const std::string& folder) const {
  if (seams_.onlyAlbumData) return layoutOfAlbumData();
  const HiddenPhotos hidden = seams_.readsTrash          ? HiddenPhotos::KeepWithTrash
                              : seams_.listsHiddenPhotos ? HiddenPhotos::Keep
                                                         : HiddenPhotos::LeaveOut;
  return layoutOfLibrary(folder, hidden);
}

void LibraryDatabases::useLayout() {
  const auto before = pathOf(DatabaseFile::Library);
  for (std::size_t i = 0; i < slots_.size(); ++i) {
    std::size_t owner = 0;
    while (layout_.databaseFiles[owner] != layout_.databaseFiles[i]) ++owner;
    slots_[i] = ownSlots_[owner].get();
    DatabaseSlot::Reading reading{layout_.adapters[i], {}, !layout_.hasPhotoApplication};
    if (layout_.isFilledFromFile)
      reading.fill = [](const std::string& path) { return readAlbumDataDatabase(path); };
    std::optional<std::string> path;
    if (libraryPath_ && owner == i) path = appendingPathComponent(*libraryPath_, layout_.databaseFiles[i]);
    ownSlots_[i]->setPath(path, std::move(reading));
  }
  if (pathOf(DatabaseFile::Library) != before) problems_.forget();
}

// The disk of a library may come after the program has started, and only then shows its kind.
void LibraryDatabases::recognizeLateLibrary() {
  if (!libraryPath_ || layout_.kind != LibraryKind::None) return;
  LibraryLayout now = layoutOf(*libraryPath_);
  if (now.kind == LibraryKind::None) return;
  layout_ = std::move(now);
  useLayout();
}

std::optional<std::string> LibraryDatabases::pathOf(DatabaseFile file) const { return slot(file).path(); }

bool LibraryDatabases::openDatabase() {
  if (openCount_++ > 0) return true;
  return open(DatabaseFile::Library);
}

void LibraryDatabases::closeDatabase() {
  if (--openCount_ < 0) openCount_ = 0;
}

bool LibraryDatabases::open(DatabaseFile file) {
  DatabaseSlot& opening = slot(file);
  releaseAtTheNextTurn();
  result_ = opening.open();
  if (result_ == SQLITE_OK) {
    // No lock yet. The queries that follow take the file as it is now, without asking about it again.
    opening.connection()->begin();
    return true;
  }
  failures_->any = true;
  const auto& path = opening.path();
  NSLog("could not open db '%@', result: %d", path ? Value(*path) : Value(), result_);
  return false;
}

Query LibraryDatabases::run(DatabaseFile file, SqlText sql, std::initializer_list<Value> values) {
  Query rows = runUnlogged(file, sql, values);
  if (!rows.prepared()) writeSystemLog(format("could not prepare query '%@'", queryForLog()));
  return rows;
}

Query LibraryDatabases::runUnlogged(DatabaseFile file, SqlText sql, std::initializer_list<Value> values) {
  lastSql_ = sql.view();
  lastValues_.assign(values.begin(), values.end());
  refused_ = false;
  for (const Value& value : values) {
    if (value.isString() && breaksOutOfLiteral(value.string())) {
      refused_ = true;
      result_ = SQLITE_ERROR;
      return {};
    }
  }
  DatabaseSlot& asked = slot(file);
  releaseAtTheNextTurn();
  Query rows;
  result_ = asked.open();
  if (&asked != &slot(DatabaseFile::Library) && isNotServed()) result_ = SQLITE_AUTH;
  if (result_ == SQLITE_OK) rows = tryRun(asked);
  if (!rows.prepared() && asked.resortToCopy(result_)) rows = tryRun(asked);
  if (rows.prepared()) {
    result_ = SQLITE_OK;
  } else {
    failures_->any = true;
    result_ = result_ == SQLITE_OK ? SQLITE_ERROR : result_ & 0xff;
  }
  return rows;
}

// A library whose main database says so: the other databases are not read, either.
bool LibraryDatabases::isNotServed() const {
  const DatabaseSlot& library = slot(DatabaseFile::Library);
  return problemOf(DatabaseFile::Library).kind == DatabaseProblem::Kind::NotServed ||
         (library.isOpen() && library.connection()->schema().isNotServed);
}

// The last query, on the slot's connection. Without preparation result_ is SQLite's extended code.
Query LibraryDatabases::tryRun(DatabaseSlot& slot) {
  const std::shared_ptr<DatabaseConnection>& connection = slot.connection();
  connection->begin();
  if (auto statement = connection->statement(lastSql_)) {
    Query rows(connection, std::move(statement), lastValues_, failures_);
    if (rows.prepared()) return rows;
  }
  result_ = connection->lastError();
  return {};
}

std::string LibraryDatabases::query() const { return filledIn(lastSql_, lastValues_); }

std::string LibraryDatabases::queryForLog() const {
  std::vector<Value> values = lastValues_;
  for (Value& value : values) {
    if (!value.isNumber() && !value.isNil()) value = Value(loggedValue(value));
  }
  return filledIn(lastSql_, values);
}

const char* LibraryDatabases::errorMessage(DatabaseFile file) const {
  if (refused_ || !slot(file).isOpen()) return sqlite3_errstr(result_);
  return slot(file).connection()->lastMessage();
}

std::string LibraryDatabases::applicationVersion() const {
  const DatabaseSlot& library = slot(DatabaseFile::Library);
  return library.isOpen() ? library.connection()->schema().version : std::string();
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

// Whatever a command holds ends at the latest when the loop continues.
void LibraryDatabases::releaseAtTheNextTurn() {
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

void LibraryDatabases::releaseLocks() {
  for (auto& each : slots_) {
    if (each->releaseLocks()) continue;
    failures_->any = true;
    mustReadAgain_ = !isReadingAgain_;
  }
  noteProblems();
  if (usedSinceRelease_) armIdleTimer();
  usedSinceRelease_ = false;
}

void LibraryDatabases::noteProblems() {
  for (std::size_t i = 0; i < slots_.size(); ++i) {
    DatabaseSlot& each = *slots_[i];
    if (each.wasTried() && each.path()) problems_.note(i, *each.path(), each.problem(), each.stamp());
  }
}

bool LibraryDatabases::takeOutdated() {
  bool isOutdated = false;
  for (auto& each : ownSlots_) isOutdated = each->takeOutdated() || isOutdated;
  return isOutdated;
}

void LibraryDatabases::armIdleTimer() {
  idle_ = loop_.callAfter(kIdleUntilClosed, [this] {
    for (auto& each : slots_) each->closeFile();
  });
}

void LibraryDatabases::beginCommand() {
  recognizeLateLibrary();
  failures_->any = false;
  mustReadAgain_ = isReadingAgain_ = false;
  for (auto& each : slots_) each->beginCommand();
}

void LibraryDatabases::beginCommandAgain() {
  beginCommand();
  isReadingAgain_ = true;
}

}  // namespace moxtel
