// The running applications of the machine on which a remote script interpreter works, and the local ones.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/applications/RunningApplications.h"
#include "platform/process/ChildProcess.h"

namespace moxtel {

// Asks the interpreter on its own thread, so that a slow network never blocks the core thread: at once, and
// then every five seconds. names() gives the local names and the last answer; an interpreter that fails
// counts as none.
class RemoteApplications final : public RunningApplications {
 public:
  // Words of the interpreter's command, at least one. Borrows local applications and process runner.
  RemoteApplications(RunningApplications& local, std::vector<std::string> words, ProcessRunner& processes,
                     std::chrono::milliseconds interval = std::chrono::seconds(5));
  // Ends a running interpreter.
  ~RemoteApplications() override;

  std::vector<std::string> names() override;

 private:
  void askAgainAndAgain();
  std::vector<std::string> ask();

  RunningApplications& local_;
  const std::vector<std::string> words_;
  ProcessRunner& processes_;
  const std::chrono::milliseconds interval_;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool ending_ = false;                // guarded by mutex_
  std::vector<std::string> answered_;  // guarded by mutex_
  std::atomic<bool> canceled_{false};
  std::thread thread_;
};

}  // namespace moxtel
