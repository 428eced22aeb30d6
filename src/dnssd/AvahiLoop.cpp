#include "dnssd/AvahiLoop.h"

#include <cerrno>
#include <chrono>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/system/SystemLog.h"

namespace moxtel {

namespace {
constexpr std::chrono::milliseconds kPauseAfterFailure(20);
}

AvahiLoop::AvahiLoop() : poll_(avahi_simple_poll_new(), &avahi_simple_poll_free) {
  if (!poll_) throw std::system_error(errno, std::generic_category(), "no pipe for DNS-SD");
  const auto called = [](AvahiWatch*, int, AvahiWatchEvent, void* self) {
    static_cast<AvahiLoop*>(self)->runPosted();
  };
  wakeWatch_ = poll()->watch_new(poll(), wakeUp_.descriptor(), AVAHI_WATCH_IN, called, this);
}

AvahiLoop::~AvahiLoop() { poll()->watch_free(wakeWatch_); }

void AvahiLoop::run() {
  while (!quit_) {
    // Below 0: the poll failed, for lack of memory for example. What was ready is still ready the next time.
    if (avahi_simple_poll_iterate(poll_.get(), -1) < 0) std::this_thread::sleep_for(kPauseAfterFailure);
  }
  std::vector<Task> dropped;
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    dropped.swap(posted_);
  }
}

void AvahiLoop::post(Task task) {
  {
    const std::lock_guard lock(mutex_);
    if (ended_) return;
    posted_.push_back(std::move(task));
  }
  wakeUp_.signal();
}

void AvahiLoop::runPosted() {
  wakeUp_.clear();
  std::vector<Task> tasks;
  {
    const std::lock_guard lock(mutex_);
    tasks.swap(posted_);
  }
  for (const Task& task : tasks) {
    if (quit_) return;
    runLogged(task);
  }
}

}  // namespace moxtel
