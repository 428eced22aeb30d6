// An event loop over Avahi's own poll, so that Avahi objects, timers and tasks from other threads share one
// thread. It makes no thread: whoever calls run() lends his.
#pragma once

#include <avahi-common/simple-watch.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/loop/EventLoop.h"

namespace moxtel {

class AvahiLoop final : public EventLoop {
 public:
  AvahiLoop();            // throws std::system_error where there is no descriptor for it
  ~AvahiLoop() override;  // after run() has returned, or if it was never called
  AvahiLoop(const AvahiLoop&) = delete;
  AvahiLoop& operator=(const AvahiLoop&) = delete;

  // Runs tasks, timers and Avahi's callbacks until quit(). Once.
  void run();
  // Ends run() after the task that runs now; any thread. Tasks that wait are dropped.
  void quit();

  // For Avahi's constructors; on the loop's thread only.
  const AvahiPoll* poll() const { return avahi_simple_poll_get(poll_); }

  bool isCurrent() const override { return thread_.load() == std::this_thread::get_id(); }
  // A task posted by a task runs on a later round of the poll: timers that were due by then have fired.
  void post(Task task) override;
  bool performAndWait(Task task) override;
  std::unique_ptr<Timer> callAfter(Duration delay, Task task) override;
  std::unique_ptr<Timer> callEvery(Duration interval, Task task) override;

 private:
  class PollTimer;
  void runPosted();
  void wake() const;

  AvahiSimplePoll* poll_;
  int wakeDescriptor_ = -1;
  AvahiWatch* wakeWatch_;
  std::atomic<std::thread::id> thread_{};
  std::atomic<bool> quit_ = false;
  std::mutex mutex_;
  std::vector<Task> posted_;
  bool ended_ = false;
};

}  // namespace moxtel
