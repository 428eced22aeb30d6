#include "library/database/Query.h"

#include <sqlite3.h>

#include <cstring>

#include "library/database/DatabaseConnection.h"
#include "value/Utf.h"

namespace moxtel {

// The prepared statement in use, with the values bound to it.
class Query::Rows final {
 public:
  Rows(std::shared_ptr<DatabaseConnection> connection, std::shared_ptr<PreparedStatement> statement,
       std::vector<Value> values, std::shared_ptr<CommandFailures> failures);
  ~Rows();
  Rows(const Rows&) = delete;
  Rows& operator=(const Rows&) = delete;

  bool prepared() const { return prepared_; }
  bool step();
  bool failed() const { return !prepared_ || failed_ || (state_ != State::Done && ended()); }
  // The statement while it is on a row, else null.
  sqlite3_stmt* row() const { return onRow_ && !ended() ? statement_->handle : nullptr; }

 private:
  enum class State : std::uint8_t { FirstRowWaits, Running, Done };
  bool ended() const { return connection_->transactions() != transaction_; }

  std::shared_ptr<DatabaseConnection> connection_;  // outlives statement_
  std::shared_ptr<PreparedStatement> statement_;
  std::vector<Value> values_;  // the binding borrows their texts
  std::shared_ptr<CommandFailures> failures_;
  std::uint64_t transaction_ = 0;
  std::uint64_t rows_ = 0;
  State state_ = State::Done;
  bool prepared_ = false;
  bool onRow_ = false;
  bool failed_ = false;
};

Query::Rows::Rows(std::shared_ptr<DatabaseConnection> connection,
                  std::shared_ptr<PreparedStatement> statement, std::vector<Value> values,
                  std::shared_ptr<CommandFailures> failures)
    : connection_(std::move(connection)),
      statement_(std::move(statement)),
      values_(std::move(values)),
      failures_(std::move(failures)),
      transaction_(connection_->transactions()) {
  statement_->inUse = true;
  if (!bindValues(statement_->handle, statement_->places, values_)) return;
  connection_->beginWork();
  const int code = sqlite3_step(statement_->handle);
  connection_->observe(code);
  prepared_ = code == SQLITE_ROW || code == SQLITE_DONE;
  if (code == SQLITE_ROW) state_ = State::FirstRowWaits;
}

Query::Rows::~Rows() {
  sqlite3_reset(statement_->handle);
  sqlite3_clear_bindings(statement_->handle);
  statement_->inUse = false;
}

bool Query::Rows::step() {
  onRow_ = false;
  if (state_ == State::Done || ended()) return false;
  if (state_ == State::FirstRowWaits) {
    state_ = State::Running;
    return onRow_ = true;
  }
  const bool tooMany = ++rows_ >= connection_->mostRows();
  if (tooMany) connection_->exhaustWork();
  const int code = tooMany ? SQLITE_CORRUPT : sqlite3_step(statement_->handle);
  connection_->observe(code);
  if (code == SQLITE_ROW) return onRow_ = true;
  state_ = State::Done;
  failed_ = code != SQLITE_DONE;
  if (failed_) failures_->any = true;
  return false;
}

Query::Query() = default;
Query::Query(std::shared_ptr<DatabaseConnection> connection, std::shared_ptr<PreparedStatement> statement,
             std::vector<Value> values, std::shared_ptr<CommandFailures> failures)
    : rows_(std::make_unique<Rows>(std::move(connection), std::move(statement), std::move(values),
                                   std::move(failures))) {}
Query::Query(Query&&) noexcept = default;
Query& Query::operator=(Query&&) noexcept = default;
Query::~Query() = default;

bool Query::step() { return rows_ && rows_->step(); }
bool Query::prepared() const { return rows_ && rows_->prepared(); }
bool Query::failed() const { return !rows_ || rows_->failed(); }

Value Query::stringColumn(int column) const {
  sqlite3_stmt* row = rows_ ? rows_->row() : nullptr;
  const auto* bytes = row ? reinterpret_cast<const char*>(sqlite3_column_text(row, column)) : nullptr;
  if (!bytes) return {};
  // A C string as its readers take it: up to a NUL, and nothing at all where it is not UTF-8.
  const std::string_view text(bytes, std::strlen(bytes));
  return isValidUtf8(text) ? Value(text) : Value();
}

std::optional<std::string_view> Query::storedText(int column) const {
  sqlite3_stmt* row = rows_ ? rows_->row() : nullptr;
  if (!row || sqlite3_column_type(row, column) != SQLITE_TEXT) return std::nullopt;
  const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
  if (!bytes) return std::nullopt;
  return std::string_view(bytes, static_cast<std::size_t>(sqlite3_column_bytes(row, column)));
}

std::optional<std::span<const std::uint8_t>> Query::storedBytes(int column) const {
  sqlite3_stmt* row = rows_ ? rows_->row() : nullptr;
  if (!row || sqlite3_column_type(row, column) != SQLITE_BLOB) return std::nullopt;
  const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(row, column));
  return std::span(bytes, bytes ? static_cast<std::size_t>(sqlite3_column_bytes(row, column)) : 0);
}

Value Query::integerNumberColumn(int column) const { return Value(integerColumn(column)); }

Value Query::realNumberColumn(int column) const {
  sqlite3_stmt* row = rows_ ? rows_->row() : nullptr;
  if (!row || sqlite3_column_type(row, column) == SQLITE_NULL) return {};
  return Value(sqlite3_column_double(row, column));
}

std::int32_t Query::integerColumn(int column) const {
  sqlite3_stmt* row = rows_ ? rows_->row() : nullptr;
  return row ? sqlite3_column_int(row, column) : 0;
}

std::int64_t Query::integer64Column(int column) const {
  sqlite3_stmt* row = rows_ ? rows_->row() : nullptr;
  return row ? sqlite3_column_int64(row, column) : 0;
}

double Query::realColumn(int column) const {
  sqlite3_stmt* row = rows_ ? rows_->row() : nullptr;
  return row ? sqlite3_column_double(row, column) : 0;
}

}  // namespace moxtel
