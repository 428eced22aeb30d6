#include "library/database/HelperTables.h"

#include <string>

namespace moxtel {

namespace {

struct CloseDatabase {
  void operator()(sqlite3* database) const { sqlite3_close(database); }
};
struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using OwnedDatabase = std::unique_ptr<sqlite3, CloseDatabase>;
using OwnedStatement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

OwnedStatement prepared(sqlite3* database, const std::string& sql) {
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v3(database, sql.c_str(), -1, SQLITE_PREPARE_NO_VTAB, &statement, nullptr);
  return OwnedStatement(statement);
}

// Runs a statement once for each row of a query of another database.
int runForEachRow(sqlite3_stmt* statement, sqlite3_stmt* rows) {
  int code = sqlite3_step(rows);
  for (; code == SQLITE_ROW; code = sqlite3_step(rows)) {
    for (int i = 0; i < sqlite3_column_count(rows); ++i)
      sqlite3_bind_value(statement, i + 1, sqlite3_column_value(rows, i));
    sqlite3_step(statement);
    if (const int failure = sqlite3_reset(statement); failure != SQLITE_OK) return failure;
  }
  return code == SQLITE_DONE ? SQLITE_OK : code;
}

int run(sqlite3* made, sqlite3* database, const HelperStep& step) {
  if (step.rows.empty()) return sqlite3_exec(made, step.statement.c_str(), nullptr, nullptr, nullptr);
  const OwnedStatement rows = prepared(database, step.rows);
  if (!rows) return sqlite3_errcode(database);
  const OwnedStatement statement = prepared(made, step.statement);
  return statement ? runForEachRow(statement.get(), rows.get()) : sqlite3_errcode(made);
}

}  // namespace

HelperTables::HelperTables(sqlite3* database, const std::vector<HelperStep>& steps) {
  sqlite3* opened = nullptr;
  code_ = sqlite3_open_v2(":memory:", &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  const OwnedDatabase made(opened);
  if (code_ == SQLITE_OK) code_ = sqlite3_exec(opened, "BEGIN", nullptr, nullptr, nullptr);
  for (const HelperStep& step : steps)
    if (code_ == SQLITE_OK) code_ = run(opened, database, step);
  if (code_ == SQLITE_OK) code_ = sqlite3_exec(opened, "COMMIT", nullptr, nullptr, nullptr);
  if (code_ != SQLITE_OK) return;
  sqlite3_int64 size = 0;
  bytes_.reset(sqlite3_serialize(opened, "main", &size, 0));
  size_ = static_cast<std::size_t>(size);
  if (!bytes_) code_ = SQLITE_NOMEM;
}

int HelperTables::attachTo(sqlite3* database) const {
  if (!bytes_) return code_;
  int code = sqlite3_exec(database, "ATTACH ':memory:' AS helper", nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) return code;
  const auto size = static_cast<sqlite3_int64>(size_);
  code = sqlite3_deserialize(database, "helper", bytes_.get(), size, size, SQLITE_DESERIALIZE_READONLY);
  // Pages that are read where they are would be checked at each access (cell_size_check), which costs more.
  sqlite3_exec(database, "PRAGMA helper.cache_size=-4096", nullptr, nullptr, nullptr);
  return code;
}

}  // namespace moxtel
