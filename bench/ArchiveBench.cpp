// The archive of a list of photos, written and read, beside the floor (a copy of the output into memory that
// was never touched) and a peer (libplist's reader). bench/archive_peer.py is the other peer.
#include <benchmark/benchmark.h>
#include <plist/plist.h>
#include <sys/mman.h>

#include <cstring>
#include <string>
#include <utility>

#include "library/RecordBuilder.h"
#include "plist/KeyedArchive.h"

namespace moxtel {
namespace {

// As the photo listing builds them: records share their list of keys and the texts that each has; every
// second photo has a caption.
Value photos(std::int64_t count) {
  RecordBuilder<7> builder(
      {"PhotoKey", "ModelId", "MediaType", "FoundBy", "latitude", "longitude", "Caption"});
  const Value image("Image"), movie("Movie"), sql("SQL");
  Array list(Mutability::Mutable);
  for (std::int64_t i = 0; i < count; ++i) {
    list.append(
        builder.record({"Xq3%+9aZRk2Bc0D" + std::to_string(1000000 + i), i + 1, i % 20 == 0 ? movie : image,
                        sql, -90 + static_cast<double>(i) * 180 / static_cast<double>(count),
                        -180 + static_cast<double>(i) * 360 / static_cast<double>(count),
                        i % 2 == 0 ? Value("Caption " + std::to_string(i % 5000)) : Value()}));
  }
  return Dictionary({{"result", std::move(list)}});
}

void count(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
  state.counters["bytes"] = static_cast<double>(bytes);
  state.counters["photos/s"] =
      benchmark::Counter(static_cast<double>(state.range(0)), benchmark::Counter::kIsIterationInvariantRate);
}

void BM_WritePieces(benchmark::State& state) {
  const Value value = photos(state.range(0));
  std::size_t size = 0;
  for (auto _ : state) size = archivedPieces(value).size();
  count(state, size);
}

// As a reply is written: the photos have no other holder, and are freed between the two passes.
void BM_WriteMoved(benchmark::State& state) {
  std::size_t size = 0;
  for (auto _ : state) {
    state.PauseTiming();
    Value value = photos(state.range(0));
    state.ResumeTiming();
    size = archivedPieces(std::move(value)).size();
  }
  count(state, size);
}

void BM_WriteJoined(benchmark::State& state) {
  const Value value = photos(state.range(0));
  std::size_t size = 0;
  for (auto _ : state) size = archivedData(value).size();
  count(state, size);
}

void BM_FirstTouchCopy(benchmark::State& state) {
  const Bytes bytes = archivedData(photos(state.range(0)));
  for (auto _ : state) {
    void* fresh = mmap(nullptr, bytes.size(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (fresh == MAP_FAILED) return state.SkipWithError("no memory");
    std::memcpy(fresh, bytes.data(), bytes.size());
    benchmark::ClobberMemory();
    munmap(fresh, bytes.size());
  }
  count(state, bytes.size());
}

void BM_Read(benchmark::State& state) {
  const Bytes bytes = archivedData(photos(state.range(0)));
  for (auto _ : state) {
    const auto read = unarchivedObject(bytes);
    if (!std::holds_alternative<Value>(read)) return state.SkipWithError("not read");
  }
  count(state, bytes.size());
}

// libplist only takes the property list apart; it makes no photos of it.
void BM_ReadLibplist(benchmark::State& state) {
  const Bytes bytes = archivedData(photos(state.range(0)));
  for (auto _ : state) {
    plist_t list = nullptr;
    plist_from_bin(reinterpret_cast<const char*>(bytes.data()), static_cast<std::uint32_t>(bytes.size()),
                   &list);
    if (!list) return state.SkipWithError("not read");
    plist_free(list);
  }
  count(state, bytes.size());
}

#define PHOTOS ->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime()
BENCHMARK(BM_FirstTouchCopy) PHOTOS;
BENCHMARK(BM_WritePieces) PHOTOS;
BENCHMARK(BM_WriteMoved) PHOTOS;
BENCHMARK(BM_WriteJoined) PHOTOS;
BENCHMARK(BM_Read) PHOTOS;
BENCHMARK(BM_ReadLibplist) PHOTOS;

}  // namespace
}  // namespace moxtel

BENCHMARK_MAIN();
