// Makes pictures that the library does not have: smaller, turned, of another format. Any thread.
//
// A few threads of its own decode, each with its own helper process, apart from the decoder that the
// handheld's commands use. Requests for one picture that is being made wait for it together; when the last
// of them is gone, it is canceled. What was made is kept in the cache.
#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "pictures/codec/PictureDecoder.h"
#include "value/Value.h"

namespace moxtel {

class FileCache;
class HttpResponder;

class PictureMaker final {
 public:
  static constexpr std::size_t kThreads = 2;
  static constexpr std::size_t kMostWaiting = 128;         // pictures; each holds an open file
  static constexpr std::size_t kMostWaitingForOne = 1000;  // requests

  // Makes the picture's bytes, on one of the threads; nothing if that fails. Where it fails for want of
  // descriptors or memory (Shortage.h), the reply is 503 "busy".
  using Make = std::function<std::optional<Bytes>(PictureDecoder&)>;
  // Called with the bytes on one of the threads, or with nothing; not for a responder that is gone.
  using Done =
      std::function<void(const std::shared_ptr<HttpResponder>&, const std::shared_ptr<const Bytes>&)>;

  // Borrows cache and runner.
  PictureMaker(FileCache& cache, ProcessRunner& processes,
               std::string helper = PictureDecoder::installedHelper());
  // Ends what is being made; what waits is dropped.
  ~PictureMaker();
  PictureMaker(const PictureMaker&) = delete;
  PictureMaker& operator=(const PictureMaker&) = delete;

  // Queues a picture under its key in the cache, or waits with those who wait for it. False if too many wait.
  [[nodiscard]] bool make(const std::string& key, Make make, std::shared_ptr<HttpResponder> responder,
                          Done done);

 private:
  struct Waiter {
    std::shared_ptr<HttpResponder> responder;
    Done done;
  };
  struct Job {
    std::string key;
    Make make;
    std::vector<Waiter> waiters;  // guarded by the mutex
    bool running = false;
    bool canceled = false;  // of the thread that runs it
  };
  void runJobs();
  void run(const std::shared_ptr<Job>& job, PictureDecoder& decoder);
  bool isUnwanted(const Job& job) const;
  std::shared_ptr<Job> next();

  FileCache& cache_;
  ProcessRunner& processes_;
  const std::string helper_;
  std::atomic<bool> ending_{false};
  mutable std::mutex mutex_;  // guards what follows
  std::condition_variable wake_;
  std::deque<std::shared_ptr<Job>> jobs_;  // those that run included
  std::vector<std::thread> threads_;
};

}  // namespace moxtel
