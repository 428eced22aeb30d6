// Converts movies that browsers do not play, one at a time, on a thread of its own. Any thread.
//
// ffmpeg converts, within the limits of moxtel-movie-converter. The result is kept in the cache. Whoever
// waits asks for the state from time to time; a movie without a request during kPatience is dropped.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "pictures/codec/HelperProgram.h"
#include "platform/files/FileReader.h"

namespace moxtel {

class FileCache;
class ProcessRunner;

class MovieConverter final {
 public:
  using Now = std::function<std::chrono::steady_clock::time_point()>;
  static constexpr std::size_t kMostWaiting = 16;  // each holds an open file
  static constexpr std::chrono::minutes kPatience{2};
  static constexpr std::chrono::hours kLongest{6};  // of one conversion

  struct State {
    enum class Step : std::uint8_t { Unknown, Waiting, Converting, Failed };
    Step step = Step::Unknown;
    int percent = 0;  // while converting; 0 also when the length is unknown
  };

  // Borrows cache and runner. Without a path, ffmpeg is looked for along PATH whenever it is needed. now is
  // the steady clock, except in tests.
  MovieConverter(FileCache& cache, ProcessRunner& processes,
                 std::string helper = installedProgram("moxtel-movie-converter"), std::string ffmpeg = {},
                 Now now = std::chrono::steady_clock::now);
  // Ends the conversion that runs.
  ~MovieConverter();
  MovieConverter(const MovieConverter&) = delete;
  MovieConverter& operator=(const MovieConverter&) = delete;

  // Whether there are a program and a place for its results.
  bool isAvailable() const;
  // Queues a movie under the key of its result, unless it is queued or has failed, or the queue is full.
  // format is the demuxer, of MovieKind; seconds are the movie's length, or 0.
  void start(const std::string& key, OpenFile movie, const std::string& format, double seconds);
  // Unknown once the result is in the cache, and for a movie that was never started or was dropped. A failure
  // is remembered for kMostWaiting movies.
  State stateOf(const std::string& key);

 private:
  struct Job {
    std::string key;
    OpenFile movie;
    std::string format;
    double seconds = 0;
    std::atomic<int> percent{0};
    std::atomic<std::int64_t> asked{0};  // ticks of the steady clock
  };
  void runJobs();
  bool convert(Job& job);
  bool isUnwanted(const Job& job) const;
  std::int64_t ticks() const { return now_().time_since_epoch().count(); }
  Job* find(const std::string& key) const;

  FileCache& cache_;
  ProcessRunner& processes_;
  const std::string helper_;
  const std::string ffmpeg_;
  const Now now_;
  std::atomic<bool> ending_{false};
  mutable std::mutex mutex_;  // guards what follows
  std::condition_variable wake_;
  std::deque<std::shared_ptr<Job>> jobs_;  // the first one may run
  std::deque<std::string> failed_;
  std::thread thread_;
};

// The absolute path of a program that PATH names; empty if there is none.
std::string programOnPath(const std::string& name);

}  // namespace moxtel
