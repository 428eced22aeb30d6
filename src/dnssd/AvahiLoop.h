// Avahi's poll loop, with tasks from other threads. It makes no thread: it runs on the one that calls run().
#pragma once

#include <avahi-common/simple-watch.h>

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/loop/WakeUp.h"

namespace moxtel {

class AvahiLoop final {
 public:
  using Task = std::function<void()>;

  AvahiLoop();   // throws std::system_error without a free descriptor
  ~AvahiLoop();  // after run() has returned, or if it was never called
  AvahiLoop(const AvahiLoop&) = delete;
  AvahiLoop& operator=(const AvahiLoop&) = delete;

  // Runs tasks and Avahi's callbacks until a task calls quit(). Once.
  void run();
  // Ends run() after the current task; the tasks that wait are dropped. On the loop's thread.
  void quit() { quit_ = true; }
  // A task posted by a task runs on a later round of the poll: timeouts of Avahi that were due by then have
  // fired. Any thread.
  void post(Task task);
  // For Avahi's constructors; on the loop's thread.
  const AvahiPoll* poll() const { return avahi_simple_poll_get(poll_.get()); }

 private:
  void runPosted();

  std::unique_ptr<AvahiSimplePoll, decltype(&avahi_simple_poll_free)> poll_;
  WakeUp wakeUp_;
  AvahiWatch* wakeWatch_;
  bool quit_ = false;
  std::mutex mutex_;  // guards what follows
  std::vector<Task> posted_;
  bool ended_ = false;
};

}  // namespace moxtel
