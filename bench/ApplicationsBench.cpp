// The cost of listing the running applications, next to its floor: listing the processes. The argument is the
// number of processes that are started in addition to those of the machine.
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <vector>

#include "platform/applications/RunningApplications.h"

extern char** environ;

namespace moxtel {
namespace {

class Sleepers {
 public:
  explicit Sleepers(std::int64_t count) {
    char program[] = "sleep";
    char seconds[] = "600";
    char* words[] = {program, seconds, nullptr};
    for (std::int64_t i = 0; i < count; ++i) {
      pid_t process = 0;
      if (::posix_spawnp(&process, program, nullptr, nullptr, words, environ) == 0) {
        processes_.push_back(process);
      }
    }
  }
  ~Sleepers() {
    for (const pid_t process : processes_) ::kill(process, SIGKILL);
    for (const pid_t process : processes_) ::waitpid(process, nullptr, 0);
  }
  Sleepers(const Sleepers&) = delete;
  Sleepers& operator=(const Sleepers&) = delete;

 private:
  std::vector<pid_t> processes_;
};

double listOfProcesses() {
  double count = 0;
  DIR* folder = ::opendir("/proc");
  while (const dirent* entry = ::readdir(folder)) {
    if (entry->d_name[0] >= '1' && entry->d_name[0] <= '9') ++count;
  }
  ::closedir(folder);
  return count;
}

void BM_Names(benchmark::State& state) {
  const Sleepers sleepers(state.range(0));
  const auto applications = makeRunningApplications({"iPhoto", "Aperture"});
  for (auto _ : state) benchmark::DoNotOptimize(applications->names());
  state.counters["processes"] = listOfProcesses();
}

void BM_ListAlone(benchmark::State& state) {
  const Sleepers sleepers(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(listOfProcesses());
  state.counters["processes"] = listOfProcesses();
}

#define COUNTS Arg(0)->Arg(140)->Arg(1000)->Unit(benchmark::kMicrosecond)
BENCHMARK(BM_Names)->COUNTS;
BENCHMARK(BM_ListAlone)->COUNTS;

}  // namespace
}  // namespace moxtel

BENCHMARK_MAIN();
