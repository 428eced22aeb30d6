// Fills a database from arbitrary bytes, read as AlbumData.xml. The database is whole, and what its rows
// refer to is in it.
#include <sqlite3.h>

#include <cstdint>
#include <sstream>
#include <string>

#include "fuzz/FuzzInput.h"
#include "library/kinds/AlbumDataDatabase.h"

namespace {

using namespace moxtel;
using fuzz::require;

std::string textOf(sqlite3* database, const char* sql) {
  sqlite3_stmt* statement = nullptr;
  require(sqlite3_prepare_v2(database, sql, -1, &statement, nullptr) == SQLITE_OK);
  require(sqlite3_step(statement) == SQLITE_ROW);
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
  std::string found = text ? text : "";
  sqlite3_finalize(statement);
  return found;
}

void checkRows(sqlite3* database, std::size_t photos) {
  require(textOf(database, "PRAGMA quick_check") == "ok");
  require(textOf(database, "SELECT COUNT(*) FROM RKVersion") == std::to_string(photos));
  require(textOf(database, "SELECT COUNT(*) FROM RKMaster") == std::to_string(photos));
  for (const char* lost :
       {"SELECT COUNT(*) FROM RKVersion WHERE projectUuid IS NOT NULL AND projectUuid NOT IN (SELECT uuid "
        "FROM RKFolder)",
        "SELECT COUNT(*) FROM RKAlbumVersion WHERE versionId NOT IN (SELECT modelId FROM RKVersion)",
        "SELECT COUNT(*) FROM RKAlbumVersion WHERE albumId NOT IN (SELECT modelId FROM RKAlbum)",
        "SELECT COUNT(*) FROM RKDetectedFace WHERE masterUuid NOT IN (SELECT uuid FROM RKMaster)",
        "SELECT COUNT(*) FROM RKVersion WHERE uuid IS NULL OR modelId NOT BETWEEN 1 AND 2147483647"})
    require(textOf(database, lost) == "0");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream file(std::string(reinterpret_cast<const char*>(data), size));
  const auto made = readAlbumDataDatabase(file, size);
  if (made->bytes.empty()) return 0;
  sqlite3* database = nullptr;
  require(sqlite3_open(":memory:", &database) == SQLITE_OK);
  require(sqlite3_deserialize(database, "main", const_cast<unsigned char*>(made->bytes.data()),
                              static_cast<sqlite3_int64>(made->bytes.size()),
                              static_cast<sqlite3_int64>(made->bytes.size()),
                              SQLITE_DESERIALIZE_READONLY) == SQLITE_OK);
  checkRows(database, made->photos);
  sqlite3_close(database);
  return 0;
}
