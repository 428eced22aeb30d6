#include "makelibrary/SqliteWriter.h"

namespace moxtel::makelibrary {

namespace {

[[noreturn]] void fail(sqlite3* database, std::string_view doing) {
  throw WriteError(std::string(doing) + ": " + (database ? sqlite3_errmsg(database) : "out of memory"));
}

std::string insertText(std::string_view table, std::string_view columns) {
  std::string sql =
      "INSERT OR IGNORE INTO " + std::string(table) + " (" + std::string(columns) + ") VALUES (?";
  for (const char c : columns)
    if (c == ',') sql += ",?";
  return sql + ")";
}

}  // namespace

Inserter::Inserter(sqlite3* database, std::string_view table, std::string_view columns) {
  const std::string sql = insertText(table, columns);
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(database, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) fail(database, sql);
  statement_.reset(statement);
}

void Inserter::bind(int place, std::nullptr_t) { sqlite3_bind_null(statement_.get(), place); }
void Inserter::bind(int place, std::int64_t value) { sqlite3_bind_int64(statement_.get(), place, value); }
void Inserter::bind(int place, double value) { sqlite3_bind_double(statement_.get(), place, value); }
void Inserter::bind(int place, std::string_view value) {
  sqlite3_bind_text64(statement_.get(), place, value.data(), value.size(), SQLITE_STATIC, SQLITE_UTF8);
}
void Inserter::bind(int place, const Cell& value) {
  if (const auto* integer = std::get_if<std::int64_t>(&value)) return bind(place, *integer);
  if (const auto* real = std::get_if<double>(&value)) return bind(place, *real);
  if (const auto* text = std::get_if<std::string>(&value)) return bind(place, std::string_view(*text));
  if (const auto* blob = std::get_if<Blob>(&value)) {
    sqlite3_bind_blob64(statement_.get(), place, blob->bytes.data(), blob->bytes.size(), SQLITE_STATIC);
    return;
  }
  bind(place, nullptr);
}

void Inserter::rowOf(const std::vector<Cell>& cells) {
  int place = 0;
  for (const Cell& cell : cells) bind(++place, cell);
  write();
}

void Inserter::write() {
  const int code = sqlite3_step(statement_.get());
  if (code != SQLITE_DONE) fail(sqlite3_db_handle(statement_.get()), "writing a row");
  sqlite3_reset(statement_.get());
}

SqliteWriter::SqliteWriter(const std::filesystem::path& file, std::string_view schema) {
  sqlite3* database = nullptr;
  const int code =
      sqlite3_open_v2(file.c_str(), &database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  database_.reset(database);
  if (code != SQLITE_OK) fail(database, "creating " + file.string());
  // No journal and no fsync: after a crash the folder is useless anyway.
  execute(
      "PRAGMA page_size=16384; PRAGMA encoding='UTF-8'; PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; "
      "PRAGMA locking_mode=EXCLUSIVE; PRAGMA cache_size=-262144; PRAGMA temp_store=MEMORY; BEGIN");
  while (!schema.empty()) {
    const std::size_t end = std::min(schema.find('\n'), schema.size());
    const std::string line(schema.substr(0, end));
    schema.remove_prefix(std::min(end + 1, schema.size()));
    if (line.starts_with("CREATE TABLE"))
      execute(line);
    else if (line.starts_with("CREATE"))
      indexes_.push_back(line);
  }
}

void SqliteWriter::execute(const std::string& sql) {
  if (sqlite3_exec(database_.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
    fail(database_.get(), sql);
}

void SqliteWriter::createIndexes() {
  for (const std::string& index : indexes_) execute(index);
  indexes_.clear();
}

std::vector<std::pair<std::string, std::string>> SqliteWriter::columnsOf(std::string_view table) const {
  std::vector<std::pair<std::string, std::string>> columns;
  const std::string sql = "PRAGMA table_info(" + std::string(table) + ")";
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(database_.get(), sql.c_str(), -1, &statement, nullptr) != SQLITE_OK)
    fail(database_.get(), sql);
  const auto text = [&](int column) {
    return std::string(reinterpret_cast<const char*>(sqlite3_column_text(statement, column)));
  };
  while (sqlite3_step(statement) == SQLITE_ROW) columns.emplace_back(text(1), text(2));
  sqlite3_finalize(statement);
  return columns;
}

void SqliteWriter::finish() {
  createIndexes();
  execute("COMMIT");
  close();
}

void SqliteWriter::finishWithWriteAheadLog() {
  createIndexes();
  execute("COMMIT; PRAGMA journal_mode=WAL");
  close();
}

void SqliteWriter::close() {
  sqlite3* database = database_.release();
  if (sqlite3_close(database) != SQLITE_OK) fail(database, "closing a database");
}

}  // namespace moxtel::makelibrary
