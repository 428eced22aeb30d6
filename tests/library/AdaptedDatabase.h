// A database of a sample library as the program's queries see it, for looking at their plans.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "library/database/HelperTables.h"
#include "library/database/SqlPlaces.h"
#include "library/kinds/AlbumDataDatabase.h"
#include "library/kinds/LibraryKind.h"

namespace moxtel::test {

class AdaptedDatabase final {
 public:
  // file: a place in LibraryLayout::databaseFiles.
  AdaptedDatabase(const std::string& library, std::size_t file) {
    const LibraryLayout layout = layoutOfLibrary(library);
    const std::string path = library + "/" + layout.databaseFiles[file];
    if (layout.isFilledFromFile)
      openFilled(path);
    else
      EXPECT_EQ(sqlite3_open_v2(("file:" + path + "?immutable=1").c_str(), &database_,
                                SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr),
                SQLITE_OK);
    const AdaptedSchema schema = layout.adapters[file](database_);
    if (!schema.helperSteps.empty()) {
      helpers_ = std::make_unique<HelperTables>(database_, schema.helperSteps);
      EXPECT_EQ(helpers_->attachTo(database_), SQLITE_OK);
    }
    for (const std::string& view : schema.views)
      EXPECT_EQ(sqlite3_exec(database_, view.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
          << sqlite3_errmsg(database_) << "\n"
          << view;
  }
  ~AdaptedDatabase() { sqlite3_close(database_); }
  AdaptedDatabase(const AdaptedDatabase&) = delete;
  AdaptedDatabase& operator=(const AdaptedDatabase&) = delete;

  struct Step {
    int id = 0;
    int parent = 0;  // another step, or 0
    std::string text;
  };
  // The steps of a query's plan; none for one that asks for what this kind of library does not have.
  std::vector<Step> planOf(std::string_view sql) const {
    const std::string text = "EXPLAIN QUERY PLAN " + parseSqlPlaces(sql).parameterized;
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(database_, text.c_str(), -1, &statement, nullptr);
    std::vector<Step> steps;
    while (sqlite3_step(statement) == SQLITE_ROW)
      steps.push_back({sqlite3_column_int(statement, 0), sqlite3_column_int(statement, 1),
                       reinterpret_cast<const char*>(sqlite3_column_text(statement, 3))});
    sqlite3_finalize(statement);
    return steps;
  }

  // Whether a table or view has no rows.
  bool isEmpty(std::string_view name) const {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(database_, ("SELECT 1 FROM " + std::string(name) + " LIMIT 1").c_str(), -1, &statement,
                       nullptr);
    const bool isEmpty = statement && sqlite3_step(statement) == SQLITE_DONE;
    sqlite3_finalize(statement);
    return isEmpty;
  }

 private:
  void openFilled(const std::string& path) {
    filled_ = readAlbumDataDatabase(path);
    EXPECT_EQ(sqlite3_open(":memory:", &database_), SQLITE_OK);
    const auto size = static_cast<sqlite3_int64>(filled_->bytes.size());
    EXPECT_EQ(sqlite3_deserialize(database_, "main", const_cast<unsigned char*>(filled_->bytes.data()), size,
                                  size, SQLITE_DESERIALIZE_READONLY),
              SQLITE_OK);
  }

  std::shared_ptr<const AlbumDataDatabase> filled_;
  std::unique_ptr<HelperTables> helpers_;
  sqlite3* database_ = nullptr;
};

}  // namespace moxtel::test
