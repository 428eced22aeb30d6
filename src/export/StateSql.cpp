#include "export/StateSql.h"

#include <sqlite3.h>

namespace moxtel {

Statement::Statement(StateSql& sql, const char* text) : sql_(sql) {
  if (sqlite3_prepare_v3(sql.database_, text, -1, SQLITE_PREPARE_PERSISTENT, &statement_, nullptr) !=
      SQLITE_OK)
    sql_.fail();
}

Statement::~Statement() { sqlite3_finalize(statement_); }

bool Statement::row() {
  const int result = sqlite3_step(statement_);
  if (result == SQLITE_ROW) return true;
  if (result != SQLITE_DONE) sql_.fail();
  reset();
  return false;
}

int Statement::run() {
  while (row()) {
  }
  return sqlite3_changes(sql_.database_);
}

void Statement::reset() {
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

bool Statement::isNull(int column) const { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }
std::int64_t Statement::integer(int column) const { return sqlite3_column_int64(statement_, column); }
double Statement::real(int column) const { return sqlite3_column_double(statement_, column); }

std::string_view Statement::text(int column) const {
  const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement_, column));
  if (!bytes) return {};
  return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

void Statement::bind(int place, std::int64_t value) {
  if (sqlite3_bind_int64(statement_, place, value) != SQLITE_OK) sql_.fail();
}

void Statement::bind(int place, double value) {
  if (sqlite3_bind_double(statement_, place, value) != SQLITE_OK) sql_.fail();
}

void Statement::bind(int place, std::string_view value) {
  const int size = static_cast<int>(value.size());
  // The address of an empty text may be null, which would mean NULL.
  const char* bytes = size == 0 ? "" : value.data();
  if (sqlite3_bind_text(statement_, place, bytes, size, SQLITE_TRANSIENT) != SQLITE_OK) sql_.fail();
}

void Statement::bind(int place, std::nullptr_t) {
  if (sqlite3_bind_null(statement_, place) != SQLITE_OK) sql_.fail();
}

StateSql::StateSql(const std::string& path) {
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOFOLLOW | SQLITE_OPEN_NOMUTEX;
  // Without locks, which some file systems of network disks do not have; TargetFolder::lock() keeps others
  // away.
  if (sqlite3_open_v2(path.c_str(), &database_, flags, "unix-none") == SQLITE_OK) return;
  const std::string why = database_ ? sqlite3_errmsg(database_) : "out of memory";
  sqlite3_close(database_);
  throw StateFailure(why);
}

StateSql::~StateSql() { sqlite3_close(database_); }

void StateSql::execute(const char* texts) {
  if (sqlite3_exec(database_, texts, nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

void StateSql::fail() const { throw StateFailure(sqlite3_errmsg(database_)); }

}  // namespace moxtel
