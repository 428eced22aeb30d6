// The applications that run on this machine, and those on the machine of a remote script interpreter.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/applications/RunningApplications.h"
#include "platform/process/ChildProcess.h"

namespace moxtel {

// Asks the interpreter on its own thread, so that a slow network never blocks the core thread: first at once,
// then at every interval. names() returns the local names and the last answer; the answer of an interpreter
// that fails is empty.
class RemoteApplications final : public RunningApplications {
 public:
  // The words of the interpreter's command, at least one. Borrows the local applications and the process
  // runner.
  RemoteApplications(RunningApplications& local, std::vector<std::string> words, ProcessRunner& processes,
                     std::chrono::milliseconds interval = std::chrono::seconds(5));
  // Kills the interpreter if it is running.
  ~RemoteApplications() override;

  std::vector<std::string> names() override;

 private:
  void askUntilTheEnd();
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
