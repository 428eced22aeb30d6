// Lets the queries, which are written for one version of the photo application, read databases of others.
//
// On each connection, before it is restricted to reading, temporary views are made: a name in the schema
// "temp" hides the table of the same name in "main", so the texts of the queries stay as they are. A
// temporary view lives in memory with its connection; nothing in the library changes. Queries may ask a view
// for "rowid": each view has a column of that name.
#pragma once

#include <sqlite3.h>

#include <functional>
#include <string>
#include <vector>

namespace moxtel {

// One step of making the tables that views ask for beside the library's own (HelperTables).
struct HelperStep {
  // Runs in a database of its own, whose tables the views call "helper.…": once for each row of the query
  // rows with its columns as values, or once where rows is empty.
  std::string statement;
  std::string rows;  // a query of the library's database
};

struct AdaptedSchema {
  // SQLITE_OK, or why the database's schema cannot be read; then the rest means nothing.
  int code = SQLITE_OK;
  // The statements "CREATE TEMP VIEW …", in the order in which they are run; none for a database that has all
  // that the queries ask for.
  std::vector<std::string> views;
  // What makes the tables of the schema "helper", which the views may ask; none for no such schema.
  std::vector<HelperStep> helperSteps;
  // Whether the views call functions of SQLite.
  bool callsFunctions = false;
  // Name and version of the application, as far as the database shows it: "Photos 5"; else empty.
  std::string version;
  // Whether it is of a library whose lists stay empty, because they would be half empty.
  bool isNotServed = false;
  // What the queries ask for and neither the tables nor the views have, for the user: "table RKNote", "column
  // RKFolder.name".
  std::vector<std::string> missing;
  // Whether none of the tables is there.
  bool isWithoutTables = false;
};

// Looks at a connection's schema. Changes nothing. Any thread, with the connection to itself.
using SchemaAdapter = std::function<AdaptedSchema(sqlite3*)>;

// For the four databases of a library of iPhoto 9 or Aperture 3: columns that only some of their versions
// have read as NULL where they are missing.
AdaptedSchema adaptLibrary(sqlite3* database);
AdaptedSchema adaptImageProxies(sqlite3* database);
AdaptedSchema adaptProperties(sqlite3* database);
AdaptedSchema adaptFaces(sqlite3* database);

}  // namespace moxtel
