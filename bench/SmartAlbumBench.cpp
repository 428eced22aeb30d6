// Measures smart albums: a rule of ten clauses, the comparison of saved lists with the databases, the cache,
// and reading AlbumData.xml; next to a floor in the same run, one statement with the clauses over RKVersion.
// Makes its libraries in the temporary folder; with MOXTEL_BENCH_LARGE also one of 1,000,000 photos.

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include "library/answers/SmartAlbums.h"
#include "platform/system/SystemLog.h"
#include "tests/library/TestLibrary.h"
#include "tests/library/answers/MadeRule.h"

namespace moxtel {
namespace {

using test::clause;

// The flag and the text admit the odd photos each, the others all of these.
Dictionary tenClauses() {
  return test::all({test::flagged(), test::ratedAtLeast(1), clause(5, "basicProperties.MainRating", 6, 9),
                    clause(22, "isFlagged", 6, 0), clause(6, "exifProperties.ImageDate", 1),
                    test::between("1/1/2001 UTC", "12/31/2100 UTC"), clause(9, "Latitude", 1),
                    clause(9, "Longitude", 1), clause(14, "iptcProperties.Headline", 23, "BEACH"),
                    test::any({clause(9, "exifProperties.ISOSpeedRating", 8, 100), test::flagged()})});
}

// Two versions of each photo, of which the one with the even model id is shown.
void fill(test::TestLibrary& files, std::int64_t photos) {
  const std::string all = "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
                          std::to_string(photos) + ") ";
  const auto versions = [&all](const char* id, const char* letter, int shown) {
    return "INSERT INTO RKVersion(modelId,uuid,name,fileName,versionNumber,masterUuid,projectUuid,imageDate,"
           "mainRating,isHidden,isFlagged,isInTrash,showInLibrary,rotation,imageTimeZoneName) " +
           all + "SELECT " + id + ",printf('" + letter +
           "%%%08x+%011d', (i * 2654435761) % 4294967296, i),printf('IMG_%d',i),printf('IMG_%d.JPG',i)," +
           std::to_string(shown) + ",printf('m%021d',i),printf('p%021d',i / 100),i * 60.0,i % 6,0,i % 2,0," +
           std::to_string(shown) + ",0,'Europe/Zurich' FROM n;";
  };
  const auto numbers = [&all](const char* key) {
    return "INSERT INTO RKExifNumberProperty(versionId,propertyKey,numberProperty) " + all + "SELECT 2*i,'" +
           key + "',i % 1000 FROM n;";
  };
  files.execute(DatabaseFile::Library,
                "BEGIN;" + versions("2*i-1", "o", 0) + versions("2*i", "v", 1) + "COMMIT");
  files.execute(DatabaseFile::Properties,
                "BEGIN;" + numbers("Latitude") + numbers("Longitude") + numbers("ISOSpeedRating") +
                    "INSERT INTO RKUniqueString(modelId,stringProperty) " + all +
                    "SELECT i,printf('%s of picture %d',iif(i % 2,'The beach','The town'),i) FROM n;"
                    "INSERT INTO RKIptcProperty(versionId,propertyKey,stringId) " +
                    all + "SELECT 2*i,'Headline',i FROM n; COMMIT");
  files.insert("RKAlbum", Dictionary{{"uuid", "rule"},
                                     {"albumType", 1},
                                     {"albumSubclass", 2},
                                     {"queryData", test::stored(tenClauses())},
                                     {"queryFolderUuid", "LibraryFolder"},
                                     {"sortKeyPath", "exifProperties.ImageDate"},
                                     {"sortAscending", 1}});
}

// About 1,000 bytes for each photo, as the photo application writes them.
void writeAlbumData(const std::string& path, std::int64_t photos) {
  std::ofstream file(path);
  const auto keys = [&] {
    file << "<key>KeyList</key><array>\n";
    for (std::int64_t i = 1; i <= photos; ++i) file << "\t\t\t<string>" << 2 * i << "</string>\n";
    file << "</array></dict>";
  };
  file << "<plist version=\"1.0\"><dict><key>List of Albums</key><array>";
  file << "<dict><key>GUID</key><string>allPhotosAlbum</string>", keys();
  file << "<dict><key>GUID</key><string>other</string>", keys();
  file << "</array><key>Master Image List</key><dict>\n";
  for (std::int64_t i = 1; i <= photos; ++i) {
    file << "<key>" << 2 * i << "</key><dict>\n";
    for (int j = 0; j < 10; ++j)
      file << "\t\t\t<key>Property " << j << "</key>\n\t\t\t<string>/Users/somebody/Pictures/Masters/2014/"
           << i << ".JPG</string>\n";
    file << "</dict>\n";
  }
  file << "</dict></dict></plist>";
}

struct Sample {
  explicit Sample(std::int64_t photos) {
    fill(files, photos);
    writeAlbumData(files.path() + "/AlbumData.xml", photos);
    opened = std::make_unique<test::OpenedLibrary>(files);
    albumData = std::make_unique<AlbumData>(opened->location, opened->files, opened->messages);
    lists = std::make_unique<SavedLists>(opened->databases, *albumData, opened->files, opened->location);
    albums = std::make_unique<SmartAlbums>(opened->databases, *lists, opened->messages, opened->defaults,
                                           systemClock());
  }
  test::TestLibrary files;
  std::unique_ptr<test::OpenedLibrary> opened;
  std::unique_ptr<AlbumData> albumData;
  std::unique_ptr<SavedLists> lists;
  std::unique_ptr<SmartAlbums> albums;
};

Sample& sample(std::int64_t photos) {
  static std::map<std::int64_t, std::unique_ptr<Sample>> samples;
  auto& made = samples[photos];
  if (!made) made = std::make_unique<Sample>(photos);
  return *made;
}

void RuleOfTenClauses(benchmark::State& state) {
  Sample& library = sample(state.range(0));
  const auto album = readSmartAlbum(library.opened->databases, "rule");
  for (auto _ : state) {
    library.opened->nextCommand();
    const RuleMembers members = library.albums->evaluate(*album);
    const auto expected = static_cast<std::size_t>(state.range(0) / 2);
    if (!members.areComplete() || members.certain.size() != expected) state.SkipWithError("members");
  }
}
void RuleFromTheCache(benchmark::State& state) {
  Sample& library = sample(state.range(0));
  library.opened->nextCommand();
  if (!library.albums->membersOf("rule")) state.SkipWithError("no album");
  for (auto _ : state) benchmark::DoNotOptimize(library.albums->membersOf("rule"));
}
void RuleFloor(benchmark::State& state) {
  Sample& library = sample(state.range(0));
  sqlite3* connection = nullptr;
  sqlite3_stmt* rows = nullptr;
  if (sqlite3_open_v2(library.files.pathOf(DatabaseFile::Library).c_str(), &connection, SQLITE_OPEN_READONLY,
                      nullptr) != SQLITE_OK ||
      sqlite3_prepare_v2(
          connection,
          "SELECT modelId,uuid,imageDate FROM RKVersion WHERE +showInLibrary = 1 AND +isInTrash = 0 "
          "AND isFlagged = 1 AND mainRating >= 1 AND mainRating != 9 AND imageDate IS NOT NULL",
          -1, &rows, nullptr) != SQLITE_OK)
    throw std::runtime_error(sqlite3_errmsg(connection));
  for (auto _ : state) {
    while (sqlite3_step(rows) == SQLITE_ROW) benchmark::DoNotOptimize(sqlite3_column_text(rows, 1));
    sqlite3_reset(rows);
  }
  sqlite3_finalize(rows);
  sqlite3_close(connection);
}
void AlbumDataRead(benchmark::State& state) {
  Sample& library = sample(state.range(0));
  const std::string path = library.files.path() + "/AlbumData.xml";
  for (auto _ : state) {
    const AlbumDataContents contents = readAlbumDataFile(path);
    if (contents.photoLists.size() != 2) state.SkipWithError("lists");
  }
}
void ListsCompared(benchmark::State& state) {
  Sample& library = sample(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    library.opened->nextCommand();
    library.albumData->clear();
    library.albumData->loadAlbumData();
    state.ResumeTiming();
    library.lists->refresh();
    if (!library.lists->isInStep()) state.SkipWithError("not in step");
  }
}

void addBenchmarks(std::int64_t photos) {
  for (const auto& [name, function] :
       {std::pair{"RuleOfTenClauses", &RuleOfTenClauses}, std::pair{"RuleFloor", &RuleFloor},
        std::pair{"RuleFromTheCache", &RuleFromTheCache}, std::pair{"ListsCompared", &ListsCompared},
        std::pair{"AlbumDataRead", &AlbumDataRead}})
    benchmark::RegisterBenchmark(name, function)->Arg(photos)->Unit(benchmark::kMillisecond);
}

}  // namespace
}  // namespace moxtel

int main(int argc, char** argv) {
  moxtel::setSystemLogSink([](std::string_view) {});
  moxtel::addBenchmarks(100'000);
  if (std::getenv("MOXTEL_BENCH_LARGE")) moxtel::addBenchmarks(1'000'000);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
