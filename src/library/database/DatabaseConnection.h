// One SQLite connection that can only read: its settings, its prepared statements, its read transaction.
//
// Core thread. Owned by a shared pointer, so that a query that is still held outlives a change of files.
#pragma once

#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "library/database/GuardedVfs.h"
#include "library/database/HelperTables.h"
#include "library/database/SchemaAdapter.h"
#include "library/database/SqlPlaces.h"

namespace moxtel {

// How much longer a command may wait for a busy database. Shared by the connections of one file.
class BusyBudget final {
 public:
  using Milliseconds = std::chrono::milliseconds;
  static constexpr Milliseconds kWhole{2000};  // per database and command

  BusyBudget(std::function<void(Milliseconds)> sleep, std::function<bool()> isEnding)
      : sleep_(std::move(sleep)), isEnding_(std::move(isEnding)) {}
  void refill() { left_ = kWhole; }
  // Sleeps for a moment; false when nothing is left, or the program ends.
  bool wait();
  // Whether the program ends, so that queries end too.
  bool isEnding() const { return isEnding_(); }

 private:
  std::function<void(Milliseconds)> sleep_;
  std::function<bool()> isEnding_;
  Milliseconds left_ = kWhole;
};

struct PreparedStatement final {
  PreparedStatement(sqlite3_stmt* prepared, std::vector<SqlPlace> itsPlaces)
      : handle(prepared), places(std::move(itsPlaces)) {}
  ~PreparedStatement() { sqlite3_finalize(handle); }
  PreparedStatement(const PreparedStatement&) = delete;
  PreparedStatement& operator=(const PreparedStatement&) = delete;

  sqlite3_stmt* const handle;
  const std::vector<SqlPlace> places;
  bool inUse = false;
};

class DatabaseConnection final {
 public:
  enum class Access : std::uint8_t {
    ReadOnly,
    // For makeWhole(), on a private copy.
    ReadWrite,
    // Takes no lock and looks at no journal: for a database without one, while it does not change. Pages that
    // were read are kept whatever happens to the file.
    Immutable,
    // Reads the write-ahead log by the -shm file, or without changing that. Another program on this computer
    // may write.
    SharedLog,
  };
  // The tables that the views of an adapter ask for; null when the program ends. With an error in their
  // code(), no query can be prepared until the next call succeeds.
  using HelperSource = std::function<std::shared_ptr<const HelperTables>(
      sqlite3* database, const std::vector<HelperStep>& steps)>;
  // Opens the file; opened() says whether that worked. Borrows vfs and budget. The adapter makes the
  // temporary views before the first query. cacheSize: bytes of pages that are kept.
  DatabaseConnection(const std::string& path, GuardedVfs& vfs, Access access, BusyBudget& budget,
                     const SchemaAdapter& adapter, std::uint64_t cacheSize = kCacheSize,
                     HelperSource helpers = {});
  // uuids are scattered over their index: with SQLite's default of 2 MB, an album of 100,000 photos reads the
  // same pages again and again.
  static constexpr std::uint64_t kCacheSize = 32 << 20;
  // Opens a whole database that lies in memory, which must live as long as this object.
  DatabaseConnection(std::span<const std::uint8_t> image, BusyBudget& budget, const SchemaAdapter& adapter);
  ~DatabaseConnection();
  DatabaseConnection(const DatabaseConnection&) = delete;
  DatabaseConnection& operator=(const DatabaseConnection&) = delete;

  bool opened() const { return openResult_ == SQLITE_OK; }
  int openResult() const { return openResult_; }
  // Whether the file says that it is used with a write-ahead log. Takes no lock.
  bool usesLog() const;
  sqlite3* handle() const { return database_; }
  // Takes a journal or a write-ahead log into the file, which then is the whole database. Returns SQLite's
  // extended code, or SQLITE_OK.
  int makeWhole();

  // The prepared form of a query, prepared once; null when it cannot be prepared (lastError says why). In
  // use until the query ends; a second query at the same time gets another statement.
  std::shared_ptr<PreparedStatement> statement(std::string_view sql);

  // Begins a read transaction unless there is one. The database's lock comes with the first row read.
  void begin();
  // Ends every statement and the transaction: afterwards no lock is held.
  void end();
  bool inTransaction() const { return !sqlite3_get_autocommit(database_); }
  // How often end() was called: a row of an earlier transaction can no longer be read.
  std::uint64_t transactions() const { return transactions_; }

  // A damaged or crafted file may have pages that refer to one another in a cycle, which SQLite follows
  // without end. So no query has more rows, or takes more work, than the file's bytes allow. Each query
  // starts with the full amount; after one has used it up, all following ones end nearly at once.
  std::uint64_t mostRows() const { return mostRows_; }
  void beginWork() {
    if (!isOverworked()) work_ = 0;
  }
  bool isOverworked() const { return work_ > mostWork_; }
  void exhaustWork() { work_ = mostWork_ + 1; }

  // Records the result code of a call; see isDoubtful().
  void observe(int code);
  // After a disk error or a damaged page the cached pages may be wrong, too: SQLite also keeps those that it
  // could not read completely. The file must then be opened again.
  bool isDoubtful() const { return isDoubtful_; }
  // The result code that says that the file is damaged, or SQLITE_OK.
  int damage() const { return damage_; }
  // What the queries ask for and the file does not have; nothing before its schema was read.
  const AdaptedSchema& schema() const { return schema_; }

  // SQLite's extended result code and message of the last call.
  int lastError() const { return sqlite3_extended_errcode(database_); }
  const char* lastMessage() const { return sqlite3_errmsg(database_); }

 private:
  void configure(BusyBudget& budget, std::uint64_t cacheSize);
  void limitWork(std::uint64_t bytes, const BusyBudget& budget);
  static int authorize(void* self, int action, const char*, const char* name, const char*, const char*);
  bool adaptSchema();
  bool attachHelpers(const std::vector<HelperStep>& steps);
  std::shared_ptr<PreparedStatement> prepare(std::string_view sql);
  bool runOnce(sqlite3_stmt*& kept, const char* sql);

  sqlite3* database_ = nullptr;
  int openResult_ = SQLITE_CANTOPEN;
  std::uint64_t transactions_ = 0;
  bool isDoubtful_ = false;
  int damage_ = SQLITE_OK;
  const SchemaAdapter adapter_;
  const HelperSource helpers_;
  std::shared_ptr<const HelperTables> helperTables_;
  AdaptedSchema schema_;
  bool isAdapted_ = false;
  std::uint64_t mostRows_ = 0;
  std::uint64_t mostWork_ = 0;  // in calls of the progress handler
  std::uint64_t work_ = 0;
  const BusyBudget* budget_ = nullptr;
  sqlite3_stmt* begin_ = nullptr;
  sqlite3_stmt* commit_ = nullptr;
  // By the address of the literal: every quoted query is one.
  std::unordered_map<const char*, std::shared_ptr<PreparedStatement>> statements_;
};

}  // namespace moxtel
