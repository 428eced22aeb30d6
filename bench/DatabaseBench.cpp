// Measures what keeping connections and prepared statements saves: the same query on a kept connection, on a
// kept connection with one read transaction each, and on a connection that is opened and closed each time.
// Also measures the check of the file before each use.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <filesystem>
#include <string>

#include "library/database/LibraryDatabases.h"
#include "platform/files/Files.h"
#include "platform/system/SystemLog.h"
#include "tests/fakes/FakeEventLoop.h"
#include "tests/library/TestLibrary.h"

namespace {

using namespace moxtel;

constexpr int kVersions = 100'000;
constexpr SqlText kQuery = "SELECT masterUuid FROM RKVersion WHERE uuid = '%@'";

const test::TestLibrary& library() {
  static test::TestLibrary files;
  static const bool filled = [] {
    files.execute(
        DatabaseFile::Library,
        "WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x+1 FROM n WHERE x < " +
            std::to_string(kVersions) +
            ") INSERT INTO RKVersion(uuid,masterUuid,versionNumber,isInTrash) SELECT 'version' || x, "
            "'master' || x, 1, 0 FROM n");
    return true;
  }();
  benchmark::DoNotOptimize(filled);
  return files;
}

struct Served {
  Served() : databases(loop, messages) {
    setSystemLogSink([](std::string_view) {});
    databases.useLibrary(library().path());
  }
  void ask(int number) {
    Query query =
        databases.run(DatabaseFile::Library, kQuery, {"version" + std::to_string(1 + number % kVersions)});
    if (!query.step()) std::abort();
    benchmark::DoNotOptimize(query.stringColumn(0));
  }
  FakeEventLoop loop;
  test::RecordingMessages messages;
  LibraryDatabases databases;
};

void queryInOneTransaction(benchmark::State& state) {
  Served served;
  int number = 0;
  for (auto _ : state) served.ask(number++);
}
BENCHMARK(queryInOneTransaction);

void queryInItsOwnTransaction(benchmark::State& state) {
  Served served;
  int number = 0;
  for (auto _ : state) {
    served.databases.beginCommand();
    served.ask(number++);
    served.databases.releaseLocks();
    served.loop.runPosted();
  }
}
BENCHMARK(queryInItsOwnTransaction);

// The comparison for the benchmark above: keeps nothing, formats and prepares the text each time.
void openQueryClose(benchmark::State& state) {
  const std::string path = library().pathOf(DatabaseFile::Library);
  int number = 0;
  for (auto _ : state) {
    sqlite3* database = nullptr;
    sqlite3_stmt* statement = nullptr;
    sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READONLY, nullptr);
    const std::string sql = "SELECT masterUuid FROM RKVersion WHERE uuid = 'version" +
                            std::to_string(1 + number++ % kVersions) + "'";
    sqlite3_prepare_v2(database, sql.c_str(), -1, &statement, nullptr);
    if (sqlite3_step(statement) != SQLITE_ROW) std::abort();
    benchmark::DoNotOptimize(sqlite3_column_text(statement, 0));
    sqlite3_finalize(statement);
    sqlite3_close(database);
  }
}
BENCHMARK(openQueryClose);

// The floor: one bound statement of SQLite alone, stepped and reset in one transaction.
void bareStatement(benchmark::State& state) {
  sqlite3* database = nullptr;
  sqlite3_stmt* statement = nullptr;
  sqlite3_open_v2(library().pathOf(DatabaseFile::Library).c_str(), &database, SQLITE_OPEN_READONLY, nullptr);
  sqlite3_exec(database, "BEGIN", nullptr, nullptr, nullptr);
  sqlite3_prepare_v2(database, "SELECT masterUuid FROM RKVersion WHERE uuid = ?", -1, &statement, nullptr);
  int number = 0;
  for (auto _ : state) {
    const std::string uuid = "version" + std::to_string(1 + number++ % kVersions);
    sqlite3_bind_text(statement, 1, uuid.c_str(), -1, SQLITE_STATIC);
    if (sqlite3_step(statement) != SQLITE_ROW) std::abort();
    benchmark::DoNotOptimize(sqlite3_column_text(statement, 0));
    sqlite3_reset(statement);
  }
  sqlite3_finalize(statement);
  sqlite3_close(database);
}
BENCHMARK(bareStatement);

void lookAtTheFile(benchmark::State& state) {
  const std::string path = library().pathOf(DatabaseFile::Library);
  for (auto _ : state) benchmark::DoNotOptimize(stampOf(path));
}
BENCHMARK(lookAtTheFile);

}  // namespace

BENCHMARK_MAIN();
