// Makes the views for a library of Photos whose tables have arbitrary names and numbers in them. Whatever the
// database says, only temporary views and tables are made, no name from it becomes part of a statement, and
// its own tables stay as they are.
#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/FuzzInput.h"
#include "library/database/HelperTables.h"
#include "library/kinds/PhotosViews.h"
#include "makelibrary/LibrarySchema.h"

namespace {

using namespace moxtel;
using fuzz::Input;
using fuzz::require;

// What a statement would contain if a name came from the database.
constexpr std::string_view kMark = "mark-of-the-database";

void bindAny(sqlite3_stmt* statement, int place, Input& input) {
  switch (input.below(5)) {
    case 0:
      sqlite3_bind_int64(statement, place, static_cast<sqlite3_int64>(input.below(60)));
      return;
    case 1:
      sqlite3_bind_int64(statement, place, static_cast<sqlite3_int64>(input.word()));
      return;
    case 2:
      sqlite3_bind_null(statement, place);
      return;
    case 3:
      sqlite3_bind_double(statement, place, input.real());
      return;
    default: {
      const std::string text = std::string(kMark) + input.text(input.below(40));
      sqlite3_bind_text64(statement, place, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
    }
  }
}

// Rows of arbitrary values; those of the entities have names that are looked up.
void fill(sqlite3* database, Input& input) {
  static constexpr const char* kEntities[] = {"Album", "GenericAlbum", "Asset", "GenericAsset", "Moment"};
  static constexpr const char* kInserts[] = {
      "INSERT INTO Z_PRIMARYKEY (Z_NAME, Z_ENT) VALUES (?, ?)",
      "INSERT INTO ZGENERICALBUM (ZKIND, ZTITLE, ZUUID, ZPARENTFOLDER, ZTRASHEDSTATE) VALUES (?, ?, ?, ?, 0)",
      "INSERT INTO ZMOMENT (ZUUID, ZTITLE, ZSTARTDATE) VALUES (?, ?, ?)",
      "INSERT INTO LiGlobals (keyPath, value) VALUES (?, ?)",
      "INSERT INTO RKVersion (uuid, masterUuid, adjustmentUuid, momentUuid) VALUES (?, ?, ?, ?)"};
  while (!input.empty()) {
    const std::uint64_t which = input.below(std::size(kInserts));
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(database, kInserts[which], -1, &statement, nullptr);
    if (!statement) {
      input.byte();
      continue;
    }
    for (int place = 1; place <= sqlite3_bind_parameter_count(statement); ++place)
      bindAny(statement, place, input);
    if (which == 0 && input.below(4) != 0)
      sqlite3_bind_text(statement, 1, kEntities[input.below(std::size(kEntities))], -1, SQLITE_STATIC);
    sqlite3_step(statement);
    sqlite3_finalize(statement);
  }
}

int changes(sqlite3* database) {
  sqlite3_stmt* version = nullptr;
  sqlite3_prepare_v2(database, "PRAGMA main.schema_version", -1, &version, nullptr);
  sqlite3_step(version);
  const int number = sqlite3_column_int(version, 0);
  sqlite3_finalize(version);
  return number;
}

void check(sqlite3* database, const AdaptedSchema& schema, const HelperTables& helpers) {
  const int before = changes(database);
  for (const HelperStep& step : schema.helperSteps)
    require(step.statement.find(kMark) == std::string::npos && step.rows.find(kMark) == std::string::npos);
  helpers.attachTo(database);
  for (const std::string& statement : schema.views) {
    require(statement.find(kMark) == std::string::npos);
    require(statement.starts_with("CREATE TEMP VIEW "));
    sqlite3_exec(database, statement.c_str(), nullptr, nullptr, nullptr);
  }
  for (const std::string& missing : schema.missing) require(missing.find(kMark) == std::string::npos);
  for (const char* query : {"SELECT * FROM RKVersion", "SELECT * FROM RKFolder", "SELECT * FROM RKAlbum",
                            "SELECT * FROM RKImageProxyState", "SELECT * FROM RKFaceName"})
    sqlite3_exec(database, query, nullptr, nullptr, nullptr);
  require(changes(database) == before);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input({data, size});
  static const std::string_view kSchemas[] = {makelibrary::kPhotos4Schema, makelibrary::kPhotos5Schema,
                                              makelibrary::kPhotos8Schema, makelibrary::kPhotos11Schema};
  const std::uint64_t which = input.below(std::size(kSchemas));
  const HiddenPhotos hidden = input.below(2) == 0 ? HiddenPhotos::Keep : HiddenPhotos::LeaveOut;
  sqlite3* database = nullptr;
  require(sqlite3_open(":memory:", &database) == SQLITE_OK);
  sqlite3_exec(database, std::string(kSchemas[which]).c_str(), nullptr, nullptr, nullptr);
  fill(database, input);
  const AdaptedSchema schema = which == 0 ? adaptPhotos4(database, hidden) : adaptPhotos5(database, hidden);
  const HelperTables helpers(database, schema.helperSteps);
  check(database, schema, helpers);
  sqlite3_close(database);
  return 0;
}
