#include "platform/loop/CoreLoop.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <iterator>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "platform/system/SystemLog.h"

namespace moxtel {

// What other threads use: the tasks, in order, and the means to wake the loop. A thread is woken after the
// lock is released, because it would only wait for it.
class CoreLoop::Queue {
 public:
  enum class Kind : unsigned char { Posted, WaitedFor, Quit };
  struct Entry {
    Kind kind = Kind::Posted;
    Task task;
    bool done = false;
    bool succeeded = false;
  };
  using Entries = std::deque<std::shared_ptr<Entry>>;

  // Null after the end: the task is destroyed by the caller, outside the lock.
  std::shared_ptr<Entry> add(Kind kind, Task task) {
    auto entry = std::make_shared<Entry>(Entry{kind, std::move(task)});
    bool sleeping = false;
    {
      const std::lock_guard lock(mutex_);
      if (ended_) return nullptr;
      entries_.push_back(entry);
      sleeping = std::exchange(sleeping_, false);
    }
    if (sleeping) added_.notify_one();
    return entry;
  }

  // The task refers to the waiting thread's stack: it is destroyed here, even if the entry lives longer.
  bool waitFor(const std::shared_ptr<Entry>& entry) {
    {
      std::unique_lock lock(mutex_);
      finished_.wait(lock, [&] { return entry->done; });
    }
    entry->task = nullptr;
    return entry->succeeded;
  }

  // In order, so that it runs after the tasks posted before.
  void addQuit(int code) {
    bool sleeping = false;
    {
      const std::lock_guard lock(mutex_);
      if (ended_ || exitCode_) return;
      exitCode_ = code;
      entries_.push_back(std::make_shared<Entry>(Entry{Kind::Quit, {}}));
      sleeping = std::exchange(sleeping_, false);
    }
    if (sleeping) added_.notify_one();
  }

  // The tasks posted until now; what these post comes on a later turn. Waits for a task until the given
  // moment; without one it waits as long as it takes.
  Entries take(std::optional<SteadyTime> until) {
    std::unique_lock lock(mutex_);
    const auto isWoken = [&] { return !entries_.empty(); };
    if (!isWoken()) {
      sleeping_ = true;
      if (until) {
        added_.wait_until(lock, *until, isWoken);
      } else {
        added_.wait(lock, isWoken);
      }
      sleeping_ = false;
    }
    return std::exchange(entries_, {});
  }

  void finish(Entry& entry, bool succeeded) {
    {
      const std::lock_guard lock(mutex_);
      entry.done = true;
      entry.succeeded = succeeded;
    }
    finished_.notify_all();
  }

  void putBack(Entries entries) {
    const std::lock_guard lock(mutex_);
    entries_.insert(entries_.begin(), entries.begin(), entries.end());
  }

  void end() {
    Entries dropped;  // destroyed after the lock is released: a task's destruction may post
    const std::lock_guard lock(mutex_);
    ended_ = true;
    dropped.swap(entries_);
    for (const auto& entry : dropped) entry->done = true;
    finished_.notify_all();
  }

  bool hasEnded() const {
    const std::lock_guard lock(mutex_);
    return ended_;
  }

  int exitCode() const {
    const std::lock_guard lock(mutex_);
    return exitCode_.value_or(0);
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable added_;
  std::condition_variable finished_;
  Entries entries_;
  std::optional<int> exitCode_;
  bool sleeping_ = false;  // the loop waits and was not woken yet
  bool ended_ = false;
};

// The loop's thread only. A plain list: there are few timers.
class CoreLoop::Timers {
 public:
  struct Entry {
    SteadyTime due;
    std::optional<Duration> interval;  // none for a single call
    Task task;
    bool canceled = false;
  };

  std::shared_ptr<Entry> add(Duration delay, std::optional<Duration> interval, Task task) {
    auto entry =
        std::make_shared<Entry>(Entry{std::chrono::steady_clock::now() + delay, interval, std::move(task)});
    entries_.push_back(entry);
    return entry;
  }

  void cancel(Entry& entry) {
    entry.canceled = true;
    std::erase_if(entries_, [&](const auto& each) { return each.get() == &entry; });
  }

  std::optional<SteadyTime> next() const {
    const auto first = std::min_element(entries_.begin(), entries_.end(), isSooner);
    return first == entries_.end() ? std::nullopt : std::optional((*first)->due);
  }

  // Calls each timer that is due now once, in order.
  void runDue() {
    if (entries_.empty()) return;
    const SteadyTime now = std::chrono::steady_clock::now();
    Entries due;
    std::copy_if(entries_.begin(), entries_.end(), std::back_inserter(due),
                 [&](const auto& entry) { return entry->due <= now; });
    std::stable_sort(due.begin(), due.end(), isSooner);
    for (const auto& entry : due) {
      if (!entry->canceled) run(*entry, now);
    }
  }

 private:
  using Entries = std::vector<std::shared_ptr<Entry>>;

  static bool isSooner(const std::shared_ptr<Entry>& a, const std::shared_ptr<Entry>& b) {
    return a->due < b->due;
  }

  // The caller holds the entry: its own call may cancel it.
  void run(Entry& entry, SteadyTime now) {
    if (entry.interval) {
      // A late timer is called once for all the intervals that it missed.
      entry.due = std::max(entry.due + *entry.interval, now);
    } else {
      std::erase_if(entries_, [&](const auto& each) { return each.get() == &entry; });
    }
    runLogged(entry.task);
  }

  Entries entries_;
};

class CoreLoop::PendingCall final : public Timer {
 public:
  PendingCall(std::shared_ptr<Timers> timers, std::shared_ptr<Timers::Entry> entry)
      : timers_(std::move(timers)), entry_(std::move(entry)) {}
  ~PendingCall() override { timers_->cancel(*entry_); }

 private:
  const std::shared_ptr<Timers> timers_;
  const std::shared_ptr<Timers::Entry> entry_;
};

CoreLoop::CoreLoop() : queue_(std::make_shared<Queue>()), timers_(std::make_shared<Timers>()) {}

CoreLoop::~CoreLoop() { queue_->end(); }

int CoreLoop::run() {
  thread_ = std::this_thread::get_id();
  if (queue_->hasEnded()) return queue_->exitCode();
  while (runTurn()) {
  }
  queue_->end();
  return queue_->exitCode();
}

bool CoreLoop::runTurn() {
  Queue::Entries entries = queue_->take(timers_->next());
  while (!entries.empty()) {
    const auto entry = std::move(entries.front());
    entries.pop_front();
    if (entry->kind == Queue::Kind::Quit) {
      queue_->putBack(std::move(entries));
      return false;
    }
    const bool succeeded = runLogged(entry->task);
    if (entry->kind == Queue::Kind::WaitedFor) queue_->finish(*entry, succeeded);
  }
  timers_->runDue();
  return true;
}

// Here and below a reference to the queue is held: the loop may end and be destroyed while it is being woken.
void CoreLoop::quit(int code) {
  const auto queue = queue_;
  queue->addQuit(code);
}

bool CoreLoop::isCurrent() const { return thread_ == std::this_thread::get_id(); }

void CoreLoop::post(Task task) {
  const auto queue = queue_;
  if (task) queue->add(Queue::Kind::Posted, std::move(task));
}

bool CoreLoop::performAndWait(Task task) {
  const auto queue = queue_;
  if (isCurrent()) return !queue->hasEnded() && runLogged(task);
  const auto entry = queue->add(Queue::Kind::WaitedFor, std::move(task));
  return entry && queue->waitFor(entry);
}

std::unique_ptr<Timer> CoreLoop::callAfter(Duration delay, Task task) {
  return std::make_unique<PendingCall>(timers_, timers_->add(delay, std::nullopt, std::move(task)));
}

std::unique_ptr<Timer> CoreLoop::callEvery(Duration interval, Task task) {
  return std::make_unique<PendingCall>(timers_, timers_->add(interval, interval, std::move(task)));
}

}  // namespace moxtel
