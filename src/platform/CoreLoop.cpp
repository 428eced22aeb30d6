#include "platform/CoreLoop.h"

#include <unistd.h>

#include <QEventLoop>
#include <QSocketNotifier>
#include <QTimer>
#include <array>
#include <cerrno>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>

#include "platform/Pipe.h"
#include "platform/QtThread.h"
#include "platform/SystemLog.h"

namespace moxtel {

namespace {

// One read is enough but for a full buffer: a byte that comes later wakes the loop again.
void emptyPipe(int fd) {
  std::array<char, 256> buffer{};
  while (::read(fd, buffer.data(), buffer.size()) == static_cast<ssize_t>(buffer.size())) {
  }
}

// Qt's timers stay out of the header, and are destroyed on the thread that made them.
class QtTimer final : public Timer {
 public:
  QtTimer(EventLoop::Duration interval, bool once, EventLoop::Task task) {
    timer_.setTimerType(Qt::PreciseTimer);
    timer_.setSingleShot(once);
    // The call holds its own reference: the timer may be destroyed by it.
    auto shared = std::make_shared<const EventLoop::Task>(std::move(task));
    QObject::connect(&timer_, &QTimer::timeout, [shared] {
      const auto held = shared;
      runLogged(*held);
    });
    timer_.start(interval);
  }

 private:
  QTimer timer_;
};

}  // namespace

// What other threads touch: the tasks, in their order, and the way to wake the loop. A thread is woken after
// the lock is given back: it would only wait for it.
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

  Queue() : pipe_(makePipe(PipeBlocking::NonBlocking)) {
    if (!pipe_.readEnd) throw std::system_error(errno, std::generic_category(), "no pipe for the core loop");
  }

  int wakeDescriptor() const { return pipe_.readEnd.get(); }

  // Null after the end: the task is destroyed by the caller, outside the lock.
  std::shared_ptr<Entry> add(Kind kind, Task task) {
    auto entry = std::make_shared<Entry>(Entry{kind, std::move(task)});
    bool sleeping = false;
    {
      const std::lock_guard lock(mutex_);
      if (ended_) return nullptr;
      entries_.push_back(entry);
      sleeping = !std::exchange(awake_, true);
    }
    if (sleeping) wake();
    return entry;
  }

  // The task refers to the waiting thread's stack: it is destroyed here, whoever holds the entry longest.
  bool waitFor(const std::shared_ptr<Entry>& entry) {
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [&] { return entry->done; });
    }
    entry->task = nullptr;
    return entry->succeeded;
  }

  // In its turn, so that it comes after what was posted before.
  void addQuit(int code) {
    bool sleeping = false;
    {
      const std::lock_guard lock(mutex_);
      if (ended_ || exitCode_) return;
      exitCode_ = code;
      entries_.push_back(std::make_shared<Entry>(Entry{Kind::Quit, {}}));
      sleeping = !std::exchange(awake_, true);
    }
    if (sleeping) wake();
  }

  // What was posted until now: what these post comes on a later turn.
  Entries take() {
    emptyPipe(wakeDescriptor());
    const std::lock_guard lock(mutex_);
    awake_ = false;
    return std::exchange(entries_, {});
  }

  void finish(Entry& entry, bool succeeded) {
    {
      const std::lock_guard lock(mutex_);
      entry.done = true;
      entry.succeeded = succeeded;
    }
    changed_.notify_all();
  }

  void putBack(Entries entries) {
    const std::lock_guard lock(mutex_);
    entries_.insert(entries_.begin(), entries.begin(), entries.end());
  }

  void end() {
    Entries dropped;  // destroyed after the lock is given back: a task's destruction may post
    const std::lock_guard lock(mutex_);
    ended_ = true;
    dropped.swap(entries_);
    for (const auto& entry : dropped) entry->done = true;
    changed_.notify_all();
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
  void wake() {
    // Into a pipe with a byte for each thread at most: it cannot be full.
    while (::write(pipe_.writeEnd.get(), "x", 1) < 0 && errno == EINTR) {
    }
  }

  Pipe pipe_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  Entries entries_;
  std::optional<int> exitCode_;
  bool awake_ = false;  // a byte is in the pipe, or about to be
  bool ended_ = false;
};

CoreLoop::CoreLoop() : queue_(std::make_shared<Queue>()) { prepareQtThread(); }

CoreLoop::~CoreLoop() { queue_->end(); }

int CoreLoop::run() {
  thread_ = std::this_thread::get_id();
  if (queue_->hasEnded()) return queue_->exitCode();
  prepareQtThread();
  QEventLoop loop;
  QSocketNotifier notifier(queue_->wakeDescriptor(), QSocketNotifier::Read);
  QObject::connect(&notifier, &QSocketNotifier::activated,
                   [&] { drain([&loop](int code) { loop.exit(code); }); });
  const int code = loop.exec();
  queue_->end();
  return code;
}

void CoreLoop::drain(const std::function<void(int)>& exit) {
  Queue::Entries entries = queue_->take();
  while (!entries.empty()) {
    const auto entry = std::move(entries.front());
    entries.pop_front();
    if (entry->kind == Queue::Kind::Quit) {
      queue_->putBack(std::move(entries));
      exit(queue_->exitCode());
      return;
    }
    const bool succeeded = runLogged(entry->task);
    if (entry->kind == Queue::Kind::WaitedFor) queue_->finish(*entry, succeeded);
  }
}

// Here and below the queue is held: the loop may end, and be destroyed, before it was woken to the end.
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
  prepareQtThread();
  return std::make_unique<QtTimer>(delay, true, std::move(task));
}

std::unique_ptr<Timer> CoreLoop::callEvery(Duration interval, Task task) {
  prepareQtThread();
  return std::make_unique<QtTimer>(interval, false, std::move(task));
}

}  // namespace moxtel
