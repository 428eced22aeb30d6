// An event loop for tests: tasks run only when the test runs them, and its clock moves only when the test
// moves it. Its thread is the one that constructed it.
#pragma once

#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/loop/EventLoop.h"

namespace moxtel {

class FakeEventLoop : public EventLoop {
 public:
  bool isCurrent() const override { return std::this_thread::get_id() == thread_; }
  void post(Task task) override;
  // Runs the task at once on the calling thread, also if that is another thread: the fake has no running
  // loop.
  bool performAndWait(Task task) override;
  std::unique_ptr<Timer> callAfter(Duration delay, Task task) override;
  std::unique_ptr<Timer> callEvery(Duration interval, Task task) override;

  // Runs the posted tasks, and those that they post, until none is left.
  void runPosted();
  // Moves the clock: calls the timers that become due, in order, and runs posted tasks between them.
  void advance(Duration time);
  std::size_t posted() const;
  std::size_t timers() const;

 private:
  struct Entry {
    Duration due{};
    Duration interval{};  // zero for a single call
    Task task;
    bool canceled = false;
  };
  class FakeTimer;
  std::unique_ptr<Timer> add(Duration delay, Duration interval, Task task);
  std::shared_ptr<Entry> nextDue(Duration until);

  mutable std::mutex mutex_;
  std::deque<Task> posted_;
  std::vector<std::shared_ptr<Entry>> timers_;
  Duration now_{};
  std::thread::id thread_ = std::this_thread::get_id();
};

}  // namespace moxtel
