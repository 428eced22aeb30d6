// An event loop for tests: nothing runs until the test lets it, and its clock moves only when the test moves
// it. The thread that made it counts as its thread.
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
  // On another thread too the task runs at once, on that thread: a fake has no loop to hop to.
  bool performAndWait(Task task) override;
  std::unique_ptr<Timer> callAfter(Duration delay, Task task) override;
  std::unique_ptr<Timer> callEvery(Duration interval, Task task) override;

  // Runs what was posted, and what that posts, until nothing is left.
  void runPosted();
  // Moves the clock, calling the timers that come due in their order and running what is posted between them.
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
