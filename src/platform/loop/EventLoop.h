// The core thread's event loop: tasks, timers, and calls from other threads.
//
// One loop lives on one thread, the core thread: everything that the rest of the system calls the main thread
// runs there, one task at a time. Classes use EventLoop; CoreLoop (CoreLoop.h) is the real one, FakeEventLoop
// (FakeEventLoop.h) has a clock that tests move.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace moxtel {

// A pending or repeating call. Destroying it cancels it; on the loop's thread only. A timer may destroy
// itself from within its own call.
class Timer {
 public:
  virtual ~Timer() = default;
};

class EventLoop {
 public:
  using Task = std::function<void()>;
  using Duration = std::chrono::milliseconds;

  virtual ~EventLoop() = default;

  // Whether the caller runs on the loop's thread. Any thread.
  virtual bool isCurrent() const = 0;

  // Runs the task on a later turn of the loop, in the order of posting. Any thread; never blocks. An
  // exception that leaves the task is logged and ends there. After the loop's end the task is dropped.
  virtual void post(Task task) = 0;

  // Runs the task on the loop's thread and waits until it is done; on the loop's thread itself runs it at
  // once. False if it did not run to its end: an exception left it (logged), or the loop has ended. Any
  // thread.
  virtual bool performAndWait(Task task) = 0;

  // Calls the task once after the delay, or repeatedly. Loop's thread only.
  [[nodiscard]] virtual std::unique_ptr<Timer> callAfter(Duration delay, Task task) = 0;
  [[nodiscard]] virtual std::unique_ptr<Timer> callEvery(Duration interval, Task task) = 0;

 protected:
  EventLoop() = default;
  EventLoop(const EventLoop&) = default;
  EventLoop& operator=(const EventLoop&) = default;
};

}  // namespace moxtel
