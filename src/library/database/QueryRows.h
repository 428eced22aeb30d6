// What is behind a Query: a prepared statement in use, with the values bound to it. Core thread.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "library/database/DatabaseConnection.h"
#include "library/database/LibraryDatabases.h"

namespace moxtel {

// What went wrong since the command began; shared with queries that outlive a call.
struct CommandFailures {
  bool any = false;
};

class Query::Rows final {
 public:
  // A query that could not be prepared: no rows.
  Rows() = default;
  // Takes the statement, binds the values and makes the first step: prepared() tells whether that worked.
  Rows(std::shared_ptr<DatabaseConnection> connection, std::shared_ptr<PreparedStatement> statement,
       std::vector<Value> values, std::shared_ptr<CommandFailures> failures);
  ~Rows();
  Rows(const Rows&) = delete;
  Rows& operator=(const Rows&) = delete;

  bool prepared() const { return prepared_; }
  bool step();
  bool failed() const { return !prepared_ || failed_ || (state_ != State::Done && ended()); }
  // The statement while it stands on a row, else null.
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

}  // namespace moxtel
