// The real event loop. Its thread is the one that calls run(), even after run() has returned: objects that
// live on the loop are destroyed there. Before run() it has no thread: isCurrent() is false everywhere,
// posted tasks run once run() is called, and performAndWait() waits for that.
//
// A program makes the loop, posts its first task and calls run(). Timers are made from within run(), or
// before it by the thread that will call it; they may outlive the loop.
//
// Built on a condition variable and not on a toolkit's loop: every request comes in through performAndWait(),
// and waking a loop that watches descriptors costs three more system calls each time.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "platform/loop/EventLoop.h"

namespace moxtel {

class CoreLoop final : public EventLoop {
 public:
  CoreLoop();
  // Ends the loop, if run() has not done so. No other thread may enter it any more; one that waits
  // in performAndWait() is released.
  ~CoreLoop() override;
  CoreLoop(const CoreLoop&) = delete;
  CoreLoop& operator=(const CoreLoop&) = delete;

  // Runs tasks and timers until quit(), once in the loop's life. Returns quit()'s code. At its end threads in
  // performAndWait() are released with false, and tasks that did not run are dropped.
  int run();

  // Ends run() after the tasks posted before. The first code counts; before run() it ends run() at its start.
  // Any thread.
  void quit(int code = 0);

  bool isCurrent() const override;
  void post(Task task) override;
  bool performAndWait(Task task) override;
  std::unique_ptr<Timer> callAfter(Duration delay, Task task) override;
  std::unique_ptr<Timer> callEvery(Duration interval, Task task) override;

 private:
  using SteadyTime = std::chrono::steady_clock::time_point;
  class Queue;
  class Timers;
  class PendingCall;
  // Waits for tasks or timers that are due, and runs them; false after a quit().
  bool runTurn();

  // Shared with the threads that wait, so that it lives until the last of them has left it.
  std::shared_ptr<Queue> queue_;
  // Shared with the timers.
  std::shared_ptr<Timers> timers_;
  std::atomic<std::thread::id> thread_;
};

}  // namespace moxtel
