// The applications that run on this machine, and those on the machine of a remote script interpreter.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/applications/RunningApplications.h"
#include "platform/process/ChildProcess.h"

namespace moxtel {

// Asks the interpreter on its own thread, so that a slow network never blocks the core thread: when the names
// are first asked for,
// then at every interval until pause(). names() returns the local names and the last answer. A question that
// fails changes nothing; when kFailuresUntilGone fail in a row, no application counts as running there.
class RemoteApplications final : public RunningApplications {
 public:
  static constexpr int kFailuresUntilGone = 3;
  // Gets the reason, for the user, when the applications cannot be asked any more. Called on the object's own
  // thread, once until an answer comes again.
  using Report = std::function<void(const std::string& why)>;

  // The words of the interpreter's command, at least one. Borrows the local applications and the process
  // runner.
  RemoteApplications(RunningApplications& local, std::vector<std::string> words, ProcessRunner& processes,
                     Report report, std::chrono::milliseconds interval = std::chrono::seconds(5));
  // Kills the interpreter if it is running.
  ~RemoteApplications() override;

  std::vector<std::string> names() override;
  void awaitFirstAnswer(std::chrono::milliseconds longest, const std::function<void()>& onWait) override;
  void pause() override;
  void end() override;

 private:
  // The applications that run there, or why the question failed.
  struct Answer {
    std::vector<std::string> names;
    std::string problem;
  };

  void askUntilTheEnd();
  Answer ask();
  static Answer answerFrom(const ProcessResult& result);
  // Whether the applications cannot be asked any more, from this answer on. Call with the mutex locked.
  bool takeAnswer(Answer& answer);

  RunningApplications& local_;
  const std::vector<std::string> words_;
  ProcessRunner& processes_;
  const Report report_;
  const std::chrono::milliseconds interval_;
  std::mutex mutex_;  // guards what follows, except canceled_ and thread_
  std::condition_variable wake_;
  bool ending_ = false;
  std::vector<std::string> answered_;
  int failures_ = 0;      // in a row, at most kFailuresUntilGone
  bool isKnown_ = false;  // there was an answer, or none can be had
  bool hasWaited_ = false;
  bool isWanted_ = false;  // the names were asked for, and not paused since
  std::atomic<bool> canceled_{false};
  std::thread thread_;
};

}  // namespace moxtel
