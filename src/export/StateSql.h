// A small SQLite database of the export's own, never one of a library. One thread.
//
// Whatever fails throws StateFailure: without its state, an export cannot continue.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace moxtel {

class StateFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class StateSql;

// One prepared statement, for several uses. The texts that it returns are valid until its next row.
class Statement final {
 public:
  Statement(StateSql& sql, const char* text);
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  // Begins again with these values for its question marks.
  template <class... Values>
  Statement& with(const Values&... values) {
    reset();
    int place = 0;
    (bind(++place, values), ...);
    return *this;
  }
  // The next row; false at the end, and the statement holds nothing then.
  bool row();
  // To the end. The number of rows that were changed.
  int run();
  void reset();

  bool isNull(int column) const;
  std::int64_t integer(int column) const;
  double real(int column) const;
  std::string_view text(int column) const;

 private:
  void bind(int place, std::int64_t value);
  void bind(int place, int value) { bind(place, std::int64_t{value}); }
  void bind(int place, std::uint64_t value) { bind(place, static_cast<std::int64_t>(value)); }
  void bind(int place, double value);
  void bind(int place, std::string_view value);
  void bind(int place, const std::string& value) { bind(place, std::string_view(value)); }
  void bind(int place, const char* value) { bind(place, std::string_view(value)); }
  void bind(int place, std::nullptr_t);

  StateSql& sql_;
  sqlite3_stmt* statement_ = nullptr;
};

class StateSql final {
 public:
  // An empty path: a database in a temporary file that nothing else sees. Locks nothing.
  explicit StateSql(const std::string& path);
  ~StateSql();
  StateSql(const StateSql&) = delete;
  StateSql& operator=(const StateSql&) = delete;

  // Statements without values, separated by semicolons.
  void execute(const char* texts);

 private:
  friend class Statement;
  [[noreturn]] void fail() const;

  sqlite3* database_ = nullptr;
};

}  // namespace moxtel
