#include "tests/fakes/FakeEventLoop.h"

#include <algorithm>

#include "platform/system/SystemLog.h"

namespace moxtel {

class FakeEventLoop::FakeTimer : public Timer {
 public:
  explicit FakeTimer(std::shared_ptr<Entry> entry) : entry_(std::move(entry)) {}
  ~FakeTimer() override { entry_->canceled = true; }

 private:
  std::shared_ptr<Entry> entry_;
};

void FakeEventLoop::post(Task task) {
  const std::lock_guard lock(mutex_);
  posted_.push_back(std::move(task));
}

bool FakeEventLoop::performAndWait(Task task) { return runLogged(task); }

std::unique_ptr<Timer> FakeEventLoop::callAfter(Duration delay, Task task) {
  return add(delay, Duration::zero(), std::move(task));
}

std::unique_ptr<Timer> FakeEventLoop::callEvery(Duration interval, Task task) {
  return add(interval, interval, std::move(task));
}

std::unique_ptr<Timer> FakeEventLoop::add(Duration delay, Duration interval, Task task) {
  auto entry = std::make_shared<Entry>(Entry{now_ + delay, interval, std::move(task), false});
  timers_.push_back(entry);
  return std::make_unique<FakeTimer>(std::move(entry));
}

void FakeEventLoop::runPosted() {
  for (;;) {
    Task task;
    {
      const std::lock_guard lock(mutex_);
      if (posted_.empty()) return;
      task = std::move(posted_.front());
      posted_.pop_front();
    }
    runLogged(task);
  }
}

std::shared_ptr<FakeEventLoop::Entry> FakeEventLoop::nextDue(Duration until) {
  std::erase_if(timers_, [](const auto& entry) { return entry->canceled; });
  std::shared_ptr<Entry> next;
  for (const auto& entry : timers_) {
    if (entry->due <= until && (!next || entry->due < next->due)) next = entry;
  }
  return next;
}

void FakeEventLoop::advance(Duration time) {
  const Duration until = now_ + time;
  runPosted();
  while (const auto entry = nextDue(until)) {
    now_ = std::max(now_, entry->due);
    if (entry->interval == Duration::zero()) {
      entry->canceled = true;
    } else {
      entry->due += entry->interval;
    }
    const Task task = entry->task;
    runLogged(task);
    runPosted();
  }
  now_ = until;
}

std::size_t FakeEventLoop::posted() const {
  const std::lock_guard lock(mutex_);
  return posted_.size();
}

std::size_t FakeEventLoop::timers() const {
  return static_cast<std::size_t>(
      std::count_if(timers_.begin(), timers_.end(), [](const auto& entry) { return !entry->canceled; }));
}

}  // namespace moxtel
