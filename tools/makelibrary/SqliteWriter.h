// Writes SQLite files fast and reproducibly: rows first, in one transaction, then the indexes.
//
// One thread per writer. Each failure throws WriteError, which ends the program: a partial library is
// useless.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace moxtel::makelibrary {

class WriteError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Blob {
  std::string bytes;
};
// Any value a column can hold.
using Cell = std::variant<std::monostate, std::int64_t, double, std::string, Blob>;

// A prepared INSERT. Columns that it does not name are NULL.
class Inserter final {
 public:
  Inserter(sqlite3* database, std::string_view table, std::string_view columns);

  // One value for each column: integers, reals, texts, optionals of them, nullptr, or cells. Texts must live
  // only until the call returns.
  template <class... Values>
  void row(const Values&... values) {
    int place = 0;
    (bind(++place, values), ...);
    write();
  }
  void rowOf(const std::vector<Cell>& cells);

 private:
  void bind(int place, std::nullptr_t);
  void bind(int place, std::int64_t value);
  void bind(int place, int value) { bind(place, static_cast<std::int64_t>(value)); }
  void bind(int place, bool value) { bind(place, static_cast<std::int64_t>(value)); }
  void bind(int place, std::size_t value) { bind(place, static_cast<std::int64_t>(value)); }
  void bind(int place, double value);
  void bind(int place, std::string_view value);
  void bind(int place, const std::string& value) { bind(place, std::string_view(value)); }
  void bind(int place, const char* value) { bind(place, std::string_view(value)); }
  void bind(int place, const Cell& value);
  template <class T>
  void bind(int place, const std::optional<T>& value) {
    if (value)
      bind(place, *value);
    else
      bind(place, nullptr);
  }
  void write();

  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

class SqliteWriter final {
 public:
  // Creates the file with the tables of the schema: one statement per line.
  SqliteWriter(const std::filesystem::path& file, std::string_view schema);

  // The writer must outlive the inserter. Skips rows that violate a unique index.
  Inserter into(std::string_view table, std::string_view columns) {
    return Inserter(database_.get(), table, columns);
  }
  // Creates the indexes before the rows, so that rows that violate a unique index are skipped.
  void createIndexes();
  std::vector<std::pair<std::string, std::string>> columnsOf(std::string_view table) const;
  // Makes the indexes, commits and closes. No inserter may exist any more.
  void finish();
  // The same, and marks the file as one with write-ahead logging, whose log is empty.
  void finishWithWriteAheadLog();

 private:
  void execute(const std::string& sql);
  void close();

  struct Close {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
  };
  std::unique_ptr<sqlite3, Close> database_;
  std::vector<std::string> indexes_;
};

}  // namespace moxtel::makelibrary
