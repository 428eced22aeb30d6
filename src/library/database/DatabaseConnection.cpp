#include "library/database/DatabaseConnection.h"

#include <algorithm>

#include "platform/files/Files.h"

namespace moxtel {

namespace {

// What views of other kinds of libraries call.
constexpr const char* kFunctionsOfViews[] = {"coalesce", "nullif", "printf", "substr", "like", "min", "max"};

bool isFunctionOfViews(const char* name) {
  return std::any_of(std::begin(kFunctionsOfViews), std::end(kFunctionsOfViews),
                     [name](const char* each) { return sqlite3_stricmp(name, each) == 0; });
}

// A row takes at least 8 bytes: its place, its length, its number and its types. No query needs more than a
// few steps of SQLite's virtual machine for each row that it looks at; most rows have hundreds of bytes.
constexpr std::uint64_t kBytesPerRow = 8;
constexpr std::uint64_t kLeastRows = 200'000;
constexpr std::uint64_t kStepsPerByte = 32;
constexpr std::uint64_t kLeastSteps = 20'000'000;
constexpr int kStepsPerCall = 10'000;

int waitWhileBusy(void* budget, int) { return static_cast<BusyBudget*>(budget)->wait() ? 1 : 0; }

// What a file can hold: a hole in it has no rows. Some file systems do not know what they allocated.
std::uint64_t contentOf(const FileStamp& file) {
  return file.allocated == 0 ? file.size : std::min(file.size, file.allocated);
}

// With SQLITE_USE_URI a name that begins with "file:" would be read as a URI.
std::string plainName(const std::string& path) { return path.starts_with("file:") ? "./" + path : path; }

// An absolute path has an empty host, so that "//" at its start is not read as one.
std::string uriOf(const std::string& path, const char* parameter) {
  std::string uri = path.starts_with('/') ? "file://" : "file:";
  for (const char each : path) {
    if (each == '%')
      uri += "%25";
    else if (each == '?')
      uri += "%3f";
    else if (each == '#')
      uri += "%23";
    else
      uri += each;
  }
  return uri + "?" + parameter;
}

std::string nameFor(const std::string& path, DatabaseConnection::Access access) {
  switch (access) {
    case DatabaseConnection::Access::Immutable:
      return uriOf(path, "immutable=1");
    case DatabaseConnection::Access::SharedLog:
      return uriOf(path, "readonly_shm=1");
    case DatabaseConnection::Access::ReadOnly:
    case DatabaseConnection::Access::ReadWrite:
      break;
  }
  return plainName(path);
}

int flagsFor(DatabaseConnection::Access access) {
  switch (access) {
    case DatabaseConnection::Access::Immutable:
    case DatabaseConnection::Access::SharedLog:
      return SQLITE_OPEN_READONLY | SQLITE_OPEN_URI;
    case DatabaseConnection::Access::ReadWrite:
      return SQLITE_OPEN_READWRITE;
    case DatabaseConnection::Access::ReadOnly:
      break;
  }
  return SQLITE_OPEN_READONLY;
}

}  // namespace

// The queries only read and count rows.
int DatabaseConnection::authorize(void* self, int action, const char*, const char* name, const char*,
                                  const char*) {
  switch (action) {
    case SQLITE_SELECT:
    case SQLITE_READ:
    case SQLITE_TRANSACTION:
      return SQLITE_OK;
    case SQLITE_FUNCTION: {
      const bool mayCall = static_cast<const DatabaseConnection*>(self)->schema_.callsFunctions;
      if (!name) return SQLITE_DENY;
      return sqlite3_stricmp(name, "count") == 0 || (mayCall && isFunctionOfViews(name)) ? SQLITE_OK
                                                                                         : SQLITE_DENY;
    }
    default:
      return SQLITE_DENY;
  }
}

bool BusyBudget::wait() {
  constexpr Milliseconds kStep{10};
  if (left_ <= Milliseconds::zero() || isEnding_()) return false;
  const Milliseconds step = std::min(kStep, left_);
  left_ -= step;
  sleep_(step);
  return true;
}

DatabaseConnection::DatabaseConnection(const std::string& path, GuardedVfs& vfs, Access access,
                                       BusyBudget& budget, const SchemaAdapter& adapter,
                                       std::uint64_t cacheSize, HelperSource helpers)
    : adapter_(adapter), helpers_(std::move(helpers)) {
  openResult_ =
      sqlite3_open_v2(nameFor(path, access).c_str(), &database_,
                      flagsFor(access) | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE, vfs.name());
  if (!opened()) return;
  sqlite3_exec(database_, "PRAGMA cell_size_check=ON", nullptr, nullptr, nullptr);
  configure(budget, cacheSize);
  limitWork(contentOf(stampOf(path)) + contentOf(stampOf(path + "-wal")), budget);
}

DatabaseConnection::DatabaseConnection(std::span<const std::uint8_t> image, BusyBudget& budget,
                                       const SchemaAdapter& adapter)
    : adapter_(adapter) {
  openResult_ = sqlite3_open_v2(":memory:", &database_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  if (!opened()) return;
  // SQLite does not write to an image that is only for reading.
  openResult_ = sqlite3_deserialize(database_, "main", const_cast<unsigned char*>(image.data()),
                                    static_cast<sqlite3_int64>(image.size()),
                                    static_cast<sqlite3_int64>(image.size()), SQLITE_DESERIALIZE_READONLY);
  if (!opened()) return;
  // Its pages are read where they are, not copied.
  const std::string pragma = "PRAGMA main.mmap_size=" + std::to_string(image.size());
  sqlite3_exec(database_, pragma.c_str(), nullptr, nullptr, nullptr);
  configure(budget, kCacheSize);
  limitWork(image.size(), budget);
}

DatabaseConnection::~DatabaseConnection() {
  statements_.clear();
  sqlite3_finalize(begin_);
  sqlite3_finalize(commit_);
  sqlite3_close_v2(database_);
}

// The read version in the file's header is 2 with a log (sqlite.org/fileformat2.html).
bool DatabaseConnection::usesLog() const {
  constexpr sqlite3_int64 kReadVersion = 19;
  sqlite3_file* file = nullptr;
  std::uint8_t version = 0;
  if (sqlite3_file_control(database_, "main", SQLITE_FCNTL_FILE_POINTER, &file) != SQLITE_OK || !file ||
      !file->pMethods)
    return false;
  return file->pMethods->xRead(file, &version, 1, kReadVersion) == SQLITE_OK && version == 2;
}

int DatabaseConnection::makeWhole() {
  beginWork();
  sqlite3_set_authorizer(database_, nullptr, nullptr);
  sqlite3_exec(database_, "PRAGMA synchronous=OFF", nullptr, nullptr, nullptr);
  const int code = sqlite3_exec(database_, "PRAGMA main.journal_mode=DELETE", nullptr, nullptr, nullptr);
  const int extended = code == SQLITE_OK ? SQLITE_OK : lastError();
  sqlite3_set_authorizer(database_, &authorize, this);
  return extended;
}

void DatabaseConnection::configure(BusyBudget& budget, std::uint64_t cacheSize) {
  sqlite3_db_config(database_, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(database_, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(database_, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_db_config(database_, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
  sqlite3_db_config(database_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  // Sorting and collecting stay in memory, so no file is written.
  const std::string settings =
      "PRAGMA temp_store=MEMORY; PRAGMA cache_size=-" + std::to_string(cacheSize >> 10);
  sqlite3_exec(database_, settings.c_str(), nullptr, nullptr, nullptr);
  sqlite3_set_authorizer(database_, &authorize, this);
  sqlite3_busy_handler(database_, &waitWhileBusy, &budget);
}

void DatabaseConnection::limitWork(std::uint64_t bytes, const BusyBudget& budget) {
  budget_ = &budget;
  mostRows_ = std::max(kLeastRows, bytes / kBytesPerRow);
  mostWork_ = std::max(kLeastSteps, bytes * kStepsPerByte) / kStepsPerCall;
  const auto called = [](void* self) {
    auto& connection = *static_cast<DatabaseConnection*>(self);
    ++connection.work_;
    return connection.isOverworked() || connection.budget_->isEnding() ? 1 : 0;
  };
  sqlite3_progress_handler(database_, kStepsPerCall, called, this);
}

// Not when the file is opened: reading its schema takes its lock, for which a busy file must be waited for.
// What cannot be read now is tried again with the next query, which then fails for the same reason; false if
// it could succeed without the views.
bool DatabaseConnection::adaptSchema() {
  beginWork();
  AdaptedSchema schema = adapter_(database_);
  observe(schema.code);
  if (schema.code != SQLITE_OK) return true;
  sqlite3_set_authorizer(database_, nullptr, nullptr);
  isAdapted_ = schema.helperSteps.empty() || attachHelpers(schema.helperSteps);
  if (isAdapted_) schema_ = std::move(schema);
  for (const std::string& view : schema_.views) {
    observe(sqlite3_exec(database_, view.c_str(), nullptr, nullptr, nullptr));
  }
  sqlite3_set_authorizer(database_, &authorize, this);
  return isAdapted_;
}

bool DatabaseConnection::attachHelpers(const std::vector<HelperStep>& steps) {
  helperTables_ = helpers_ ? helpers_(database_, steps) : std::make_shared<HelperTables>(database_, steps);
  if (!helperTables_) return false;
  observe(helperTables_->code());
  if (helperTables_->code() != SQLITE_OK) return false;
  const int code = helperTables_->attachTo(database_);
  observe(code);
  return code == SQLITE_OK;
}

std::shared_ptr<PreparedStatement> DatabaseConnection::statement(std::string_view sql) {
  if (!isAdapted_ && !adaptSchema()) return nullptr;
  auto& kept = statements_[sql.data()];
  if (kept && !kept->inUse) return kept;
  auto fresh = prepare(sql);
  if (fresh && !kept) kept = fresh;
  return fresh;
}

std::shared_ptr<PreparedStatement> DatabaseConnection::prepare(std::string_view sql) {
  const SqlTemplate parsed = parseSqlPlaces(sql);
  sqlite3_stmt* handle = nullptr;
  const int code = sqlite3_prepare_v3(database_, parsed.parameterized.c_str(),
                                      static_cast<int>(parsed.parameterized.size()) + 1,
                                      SQLITE_PREPARE_PERSISTENT | SQLITE_PREPARE_NO_VTAB, &handle, nullptr);
  observe(code);
  if (code != SQLITE_OK) return nullptr;
  return std::make_shared<PreparedStatement>(handle, parsed.places);
}

bool DatabaseConnection::runOnce(sqlite3_stmt*& kept, const char* sql) {
  if (!kept) sqlite3_prepare_v3(database_, sql, -1, SQLITE_PREPARE_PERSISTENT, &kept, nullptr);
  if (!kept) return false;
  const int code = sqlite3_step(kept);
  observe(code);
  sqlite3_reset(kept);
  return code == SQLITE_DONE;
}

void DatabaseConnection::observe(int code) {
  const int primary = code & 0xff;
  if (primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB || primary == SQLITE_IOERR) damage_ = primary;
  // Only limitWork() interrupts: the pages refer to one another in a cycle.
  if (primary == SQLITE_INTERRUPT) damage_ = SQLITE_CORRUPT;
  switch (primary) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
    case SQLITE_BUSY:   // another process writes
    case SQLITE_ERROR:  // a table or column that is not there
    case SQLITE_AUTH:
      return;
    default:
      isDoubtful_ = true;
  }
}

void DatabaseConnection::begin() {
  if (!inTransaction()) runOnce(begin_, "BEGIN");
}

void DatabaseConnection::end() {
  ++transactions_;
  for (sqlite3_stmt* each = sqlite3_next_stmt(database_, nullptr); each;
       each = sqlite3_next_stmt(database_, each)) {
    if (sqlite3_stmt_busy(each)) sqlite3_reset(each);
  }
  if (inTransaction()) runOnce(commit_, "COMMIT");
}

}  // namespace moxtel
