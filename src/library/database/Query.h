// One query of a database: its text, and its rows while they are read. Core thread.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "value/Value.h"

namespace moxtel {

class DatabaseConnection;
struct PreparedStatement;

// The SQL text of a query, with the places '%@', '%d', %d, %ld and %lld for values. Literals of this program
// only.
class SqlText final {
 public:
  consteval SqlText(const char* text) : text_(text) {}  // NOLINT
  constexpr std::string_view view() const { return text_; }

 private:
  std::string_view text_;
};

// Whether something failed since the command began. Shared with queries, which may outlive a call.
struct CommandFailures {
  bool any = false;
};

// One query's rows. Resets its statement on destruction, so that it does not hold the database's lock longer.
class Query final {
 public:
  // A query that could not be prepared: it has no rows.
  Query();
  // Takes the statement, binds the values and makes the first step; prepared() says whether that worked.
  Query(std::shared_ptr<DatabaseConnection> connection, std::shared_ptr<PreparedStatement> statement,
        std::vector<Value> values, std::shared_ptr<CommandFailures> failures);
  Query(Query&&) noexcept;
  Query& operator=(Query&&) noexcept;
  ~Query();

  // The next row; false at the end, and at once for a query that could not be prepared.
  [[nodiscard]] bool step();
  // Whether the text could be prepared (the SQLite result code of prepare or of the first step was no error).
  bool prepared() const;
  // Whether something other than the end has ended the rows: an error, releaseLocks(), or no preparation.
  bool failed() const;
  // 0-based columns of the current row; without a row everything reads as NULL.
  Value stringColumn(int column) const;  // nil for NULL
  // The text as SQL compares it, whatever its bytes; nothing for other types. Valid until the next step.
  std::optional<std::string_view> storedText(int column) const;
  // The bytes of a BLOB; nothing for other types. Valid until the next step.
  std::optional<std::span<const std::uint8_t>> storedBytes(int column) const;
  Value integerNumberColumn(int column) const;  // signed 32 bits, the low ones of a wider value; NULL is 0
  Value realNumberColumn(int column) const;     // nil for NULL
  std::int32_t integerColumn(int column) const;
  std::int64_t integer64Column(int column) const;
  double realColumn(int column) const;

 private:
  class Rows;
  std::unique_ptr<Rows> rows_;
};

}  // namespace moxtel
