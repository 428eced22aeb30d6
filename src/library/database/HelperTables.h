// Tables that the views of another kind of library need beside the database's own, with the indexes that it
// lacks. They are made once, as a database in memory that any number of connections read where it is.
#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "library/database/DatabaseNames.h"
#include "library/database/SchemaAdapter.h"

namespace moxtel {

class HelperTables final {
 public:
  // Reads the rows from the main database of a connection, in its transaction. code() is SQLITE_OK, or why
  // the tables are missing or incomplete. With the connection to itself.
  HelperTables(sqlite3* database, const std::vector<HelperStep>& steps);

  // Makes them the tables of the schema "helper" of a connection, which must be closed before this is
  // destroyed. Returns an SQLite result code.
  int attachTo(sqlite3* database) const;
  int code() const { return code_; }
  std::size_t size() const { return size_; }  // in bytes

  // Of the database whose rows these are; nothing if it was changed meanwhile.
  std::optional<DatabaseStamp> stamp;

 private:
  struct Free {
    void operator()(unsigned char* bytes) const { sqlite3_free(bytes); }
  };

  int code_ = SQLITE_OK;
  std::size_t size_ = 0;
  std::unique_ptr<unsigned char, Free> bytes_;
};

}  // namespace moxtel
