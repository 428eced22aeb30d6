// The lists of the page: sections, pages and the search in a sample library of 100,000 photos, or of
// 1,000,000 with MOXTEL_BENCH_LARGE=1. Peers in the same run: the floor of reading the same rows and sorting
// the dates in one statement of SQLite.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "makelibrary/MakeLibrary.h"
#include "makelibrary/MakeLibraryOptions.h"
#include "tests/TemporaryFolder.h"
#include "web/OpenWebLibrary.h"

namespace {

using namespace moxtel;

std::size_t photoCount() {
  if (const char* photos = std::getenv("MOXTEL_BENCH_PHOTOS")) return std::strtoull(photos, nullptr, 10);
  return std::getenv("MOXTEL_BENCH_LARGE") ? 1'000'000 : 100'000;
}

struct Sample {
  Sample() {
    makelibrary::MakeLibraryOptions options;
    options.folder = path;
    options.photos = photoCount();
    options.images = makelibrary::Images::None;
    makelibrary::makeLibrary(options);
  }
  TemporaryFolder folder;
  const std::string path = (folder.path() / "library").string();
};

Sample& sample() {
  static Sample made;
  return made;
}

std::unique_ptr<OpenWebLibrary> openLibrary(const std::string& indexFolder = {}) {
  return std::make_unique<OpenWebLibrary>("bench", sample().path, OpenLibraryOptions(), indexFolder,
                                          std::chrono::seconds(2));
}

// Runs on the library's thread and waits.
template <class Work>
void onThread(OpenWebLibrary& library, Work work) {
  std::promise<void> done;
  if (!library.postLong([&](OpenLibrary& open) {
        work(open);
        done.set_value();
      }))
    std::abort();
  done.get_future().wait();
}

std::shared_ptr<const ListedPhotos> listOf(OpenWebLibrary& library, const std::string& address,
                                           const ListFilters& filters = {}) {
  std::shared_ptr<const ListedPhotos> list;
  onThread(library, [&](OpenLibrary& open) {
    auto made = library.listFor(open, *parseListAddress(address), filters, [] { return false; });
    if (auto* const it = std::get_if<std::shared_ptr<const ListedPhotos>>(&made)) list = *it;
  });
  return list;
}

void sectionsFirst(benchmark::State& state) {
  sample();
  for (auto _ : state) {
    state.PauseTiming();
    auto library = openLibrary();
    state.ResumeTiming();
    benchmark::DoNotOptimize(listOf(*library, "all")->sectionsJson().size());
    state.PauseTiming();
    library = nullptr;
    state.ResumeTiming();
  }
}
BENCHMARK(sectionsFirst)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();

// The peer: the same rows in the order of their dates, in one statement.
void sortedRowsInSqlite(benchmark::State& state) {
  const std::string file = sample().path + "/Database/apdb/Library.apdb";
  for (auto _ : state) {
    sqlite3* database = nullptr;
    sqlite3_open_v2(file.c_str(), &database, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(
        database,
        "SELECT modelId,imageDate,masterWidth,masterHeight,isFlagged,mainRating FROM RKVersion "
        "WHERE showInLibrary = 1 AND isInTrash = 0 AND isHidden = 0 ORDER BY imageDate",
        -1, &statement, nullptr);
    std::int64_t sum = 0;
    while (sqlite3_step(statement) == SQLITE_ROW) sum += sqlite3_column_int64(statement, 0);
    benchmark::DoNotOptimize(sum);
    sqlite3_finalize(statement);
    sqlite3_close(database);
  }
}
BENCHMARK(sortedRowsInSqlite)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();

void sectionsAgain(benchmark::State& state) {
  const auto library = openLibrary();
  listOf(*library, "all");
  for (auto _ : state) {
    const std::string json = listOf(*library, "all")->sectionsJson();
    benchmark::DoNotOptimize(json.data());
  }
}
BENCHMARK(sectionsAgain)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();

// Another list from columns that were read: the flagged photos, the newest first.
void sectionsOfAFilter(benchmark::State& state) {
  const auto library = openLibrary();
  listOf(*library, "all");
  ListFilters filters;
  filters.newestFirst = true;
  for (auto _ : state) {
    filters.label = filters.label ? std::nullopt : std::optional(3);
    onThread(*library, [&](OpenLibrary& open) {
      const auto order = library->orderOf(open);
      const ListedPhotos list(order, {order->all().begin(), order->all().end()}, true, filters, {});
      benchmark::DoNotOptimize(list.size());
    });
  }
}
BENCHMARK(sectionsOfAFilter)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();

void pageAnywhere(benchmark::State& state) {
  const auto library = openLibrary();
  const auto list = listOf(*library, "all");
  const std::size_t pages = (list->size() + ListedPhotos::kPage - 1) / ListedPhotos::kPage;
  std::size_t page = 0;
  for (auto _ : state) {
    page = (page + 7'919) % pages;
    benchmark::DoNotOptimize(list->pageJson(page)->size());
  }
}
BENCHMARK(pageAnywhere)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();

void placeOfAPhoto(benchmark::State& state) {
  const auto library = openLibrary();
  const auto list = listOf(*library, "all");
  const std::int64_t last = list->modelIdAt(list->size() - 1);
  for (auto _ : state) benchmark::DoNotOptimize(list->placeOf(last));
}
BENCHMARK(placeOfAPhoto)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();

void wantIndex(OpenWebLibrary& library) {
  onThread(library, [&](OpenLibrary& open) { library.search().want(versionText(open.version())); });
  // Not a busy loop, whose processor time would count.
  while (library.search().progress().state != SearchIndex::State::Ready)
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

void indexForTheSearch(benchmark::State& state) {
  sample();
  for (auto _ : state) {
    state.PauseTiming();
    const TemporaryFolder cache;
    const auto library = openLibrary(cache.path().string());
    state.ResumeTiming();
    wantIndex(*library);
    state.PauseTiming();
    for (const auto& file : std::filesystem::directory_iterator(cache.path()))
      state.counters["MB"] = static_cast<double>(file.file_size()) / 1e6;
    state.ResumeTiming();
  }
}
BENCHMARK(indexForTheSearch)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MeasureProcessCPUTime()
    ->Iterations(1);

void search(benchmark::State& state, const std::string& words) {
  static const TemporaryFolder cache;
  const auto library = openLibrary(cache.path().string());
  listOf(*library, "all");
  wantIndex(*library);
  std::size_t found = 0;
  for (auto _ : state) {
    onThread(*library, [&](OpenLibrary& open) {
      ListMaker maker(library->search());
      state.PauseTiming();
      maker.orderOf(open);
      state.ResumeTiming();
      auto made = maker.make(open, *parseListAddress("search:" + words), {}, [] { return false; });
      found = std::get<0>(made)->size();
    });
  }
  state.counters["photos"] = static_cast<double>(found);
}
BENCHMARK_CAPTURE(search, oneLetter, "i")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MeasureProcessCPUTime();
BENCHMARK_CAPTURE(search, allPhotos, "img")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MeasureProcessCPUTime();
BENCHMARK_CAPTURE(search, threeWords, "img canon 20")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MeasureProcessCPUTime();
BENCHMARK_CAPTURE(search, aMonth, "rating:3 july 2012")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MeasureProcessCPUTime();

}  // namespace

BENCHMARK_MAIN();
