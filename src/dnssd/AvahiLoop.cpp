#include "dnssd/AvahiLoop.h"

#include <avahi-common/timeval.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <future>
#include <system_error>

#include "platform/system/SystemLog.h"

namespace moxtel {

namespace {
constexpr std::chrono::milliseconds kPauseAfterFailure(20);
}

class AvahiLoop::PollTimer final : public Timer {
 public:
  PollTimer(const AvahiPoll* poll, Duration delay, Duration interval, Task task)
      : poll_(poll), interval_(interval), task_(std::make_shared<Task>(std::move(task))) {
    timeval due{};
    timeout_ = poll_->timeout_new(poll_, dueIn(delay, due), &PollTimer::fired, this);
  }
  ~PollTimer() override { poll_->timeout_free(timeout_); }
  PollTimer(const PollTimer&) = delete;
  PollTimer& operator=(const PollTimer&) = delete;

 private:
  static timeval* dueIn(Duration delay, timeval& due) {
    return avahi_elapse_time(&due, static_cast<unsigned>(delay.count()), 0);
  }
  static void fired(AvahiTimeout* timeout, void* self) {
    auto& timer = *static_cast<PollTimer*>(self);
    timeval due{};
    timer.poll_->timeout_update(timeout,
                                timer.interval_ == Duration::zero() ? nullptr : dueIn(timer.interval_, due));
    const auto task = timer.task_;  // the task may destroy the timer
    runLogged(*task);
  }

  const AvahiPoll* poll_;
  Duration interval_;  // zero for a single call
  std::shared_ptr<Task> task_;
  AvahiTimeout* timeout_;
};

AvahiLoop::AvahiLoop() : poll_(avahi_simple_poll_new()) {
  if (!poll_) throw std::system_error(errno, std::generic_category(), "no pipe for DNS-SD");
  wakeDescriptor_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (wakeDescriptor_ < 0) {
    avahi_simple_poll_free(poll_);
    throw std::system_error(errno, std::generic_category(), "eventfd");
  }
  const auto called = [](AvahiWatch*, int, AvahiWatchEvent, void* self) {
    static_cast<AvahiLoop*>(self)->runPosted();
  };
  wakeWatch_ = poll()->watch_new(poll(), wakeDescriptor_, AVAHI_WATCH_IN, called, this);
}

AvahiLoop::~AvahiLoop() {
  poll()->watch_free(wakeWatch_);
  avahi_simple_poll_free(poll_);
  close(wakeDescriptor_);
}

void AvahiLoop::run() {
  thread_ = std::this_thread::get_id();
  while (!quit_) {
    // Below 0: the poll failed, as it may for want of memory. What waits is still there the next time.
    if (avahi_simple_poll_iterate(poll_, -1) < 0) std::this_thread::sleep_for(kPauseAfterFailure);
  }
  std::vector<Task> dropped;
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    dropped.swap(posted_);
  }
}

void AvahiLoop::quit() {
  quit_ = true;
  wake();
}

void AvahiLoop::wake() const {
  const std::uint64_t one = 1;
  // The counter is full only when the loop is awake already.
  [[maybe_unused]] const ssize_t written = write(wakeDescriptor_, &one, sizeof one);
}

void AvahiLoop::post(Task task) {
  {
    const std::lock_guard lock(mutex_);
    if (ended_) return;
    posted_.push_back(std::move(task));
  }
  wake();
}

void AvahiLoop::runPosted() {
  std::uint64_t count = 0;
  [[maybe_unused]] const ssize_t taken = read(wakeDescriptor_, &count, sizeof count);
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

bool AvahiLoop::performAndWait(Task task) {
  if (isCurrent()) return runLogged(task);
  auto done = std::make_shared<std::promise<bool>>();
  std::future<bool> result = done->get_future();
  // Only the task holds the promise: when the task is dropped the wait ends with an exception.
  post([done = std::move(done), task = std::move(task)] { done->set_value(runLogged(task)); });
  try {
    return result.get();
  } catch (const std::future_error&) {
    return false;
  }
}

std::unique_ptr<Timer> AvahiLoop::callAfter(Duration delay, Task task) {
  return std::make_unique<PollTimer>(poll(), delay, Duration::zero(), std::move(task));
}

std::unique_ptr<Timer> AvahiLoop::callEvery(Duration interval, Task task) {
  return std::make_unique<PollTimer>(poll(), interval, interval, std::move(task));
}

}  // namespace moxtel
