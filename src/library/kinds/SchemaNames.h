// Looks for tables and columns in a database that somebody else wrote. With the connection to itself.
#pragma once

#include <sqlite3.h>

#include <string>

namespace moxtel {

// SQLITE_OK when the table, or with a column that column of it, is there; SQLITE_ERROR when it is not; else
// why that cannot be known. Views in the file count as missing: they are not read.
inline int lookForColumn(sqlite3* database, const std::string& table, const char* column) {
  return sqlite3_table_column_metadata(database, "main", table.c_str(), column, nullptr, nullptr, nullptr,
                                       nullptr, nullptr) &
         0xff;
}

}  // namespace moxtel
