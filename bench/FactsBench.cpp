// Measures what the page and exporting read of a whole library: the columns of all photos and the facts of
// each, next to a floor in the same run, one statement over the same rows. Makes its library in the temporary
// folder.

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdlib>
#include <string>

#include "library/Messages.h"
#include "library/answers/OpenLibrary.h"
#include "library/facts/PhotoFactsReader.h"
#include "makelibrary/MakeLibrary.h"
#include "makelibrary/MakeLibraryOptions.h"
#include "platform/loop/CoreLoop.h"
#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

// MOXTEL_BENCH_PHOTOS, or 100,000.
std::size_t photosOfSample() {
  const char* wanted = std::getenv("MOXTEL_BENCH_PHOTOS");
  return wanted ? std::stoul(wanted) : 100'000;
}

class NoMessages final : public Messages {
 public:
  void showTitle(std::string_view, std::string_view) override {}
};

const std::string& samplePath() {
  static TemporaryFolder folder;
  static std::string path;
  if (path.empty()) {
    makelibrary::MakeLibraryOptions options;
    options.folder = path = folder.path().string() + "/library";
    options.photos = photosOfSample();
    options.images = makelibrary::Images::None;
    options.everything = true;
    makelibrary::makeLibrary(options);
  }
  return path;
}

OpenLibrary& sample() {
  static CoreLoop loop;
  static NoMessages messages;
  static OpenLibrary library(loop, messages, samplePath());
  return library;
}

void floorOfColumns(benchmark::State& state) {
  sqlite3* database = nullptr;
  sqlite3_open((samplePath() + "/Database/apdb/Library.apdb").c_str(), &database);
  for (auto _ : state) {
    sqlite3_stmt* rows = nullptr;
    sqlite3_prepare_v2(database, "SELECT * FROM RKVersion WHERE +showInLibrary = 1 ORDER BY modelId", -1,
                       &rows, nullptr);
    std::int64_t sum = 0;
    while (sqlite3_step(rows) == SQLITE_ROW)
      for (int column = 0; column < 17; ++column) sum += sqlite3_column_int64(rows, column);
    benchmark::DoNotOptimize(sum);
    sqlite3_finalize(rows);
  }
  sqlite3_close(database);
}
BENCHMARK(floorOfColumns)->Unit(benchmark::kMillisecond);

void columnsOfAllPhotos(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(readPhotoColumns(sample().databases()));
}
BENCHMARK(columnsOfAllPhotos)->Unit(benchmark::kMillisecond);

void factsOfAllPhotos(benchmark::State& state) {
  std::int64_t photos = 0;
  for (auto _ : state) {
    sample().facts().read(1, sample().facts().lastModelId(), [&photos](PhotoFacts) {
      ++photos;
      return true;
    });
  }
  state.SetItemsProcessed(photos);
}
BENCHMARK(factsOfAllPhotos)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace moxtel

BENCHMARK_MAIN();
