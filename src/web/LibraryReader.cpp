#include "web/LibraryReader.h"

#include <atomic>
#include <chrono>
#include <utility>

#include "library/Messages.h"
#include "log/Log.h"
#include "platform/loop/CoreLoop.h"

namespace moxtel {

namespace {

using SteadyClock = std::chrono::steady_clock;

class LoggedMessages final : public Messages {
 public:
  void showTitle(std::string_view title, std::string_view info) override {
    LogDebug("page: %@: %@", title, info);
  }
};

}  // namespace

class LibraryReader::State final {
 public:
  State(Task looked, std::chrono::milliseconds betweenLooks)
      : looked_(std::move(looked)), betweenLooks_(betweenLooks) {}

  void run(const std::string& path, OpenLibraryOptions options) {
    const auto isEndingBefore = options.isEnding;
    options.isEnding = [this, isEndingBefore] { return ending || (isEndingBefore && isEndingBefore()); };
    LoggedMessages messages;
    OpenLibrary library(loop, messages, path, std::move(options));
    library_ = &library;
    loop.post([this] { look(); });
    loop.run();
    library_ = nullptr;
  }
  void take(const Task& task) {
    --waiting;
    if (ending) return;
    library_->beginTask();
    if (SteadyClock::now() - lookedAt_ >= betweenLooks_) look();
    try {
      task(*library_);
    } catch (const MustReadAgain&) {
      // Nothing was answered yet.
      look();
      library_->beginTaskAgain();
      task(*library_);
    }
    library_->releaseLocks();
  }
  void look() {
    library_->refresh();
    lookedAt_ = SteadyClock::now();
    looked_(*library_);
  }

  CoreLoop loop;
  std::atomic<bool> ending{false};
  std::atomic<int> waiting{0};

 private:
  const Task looked_;
  const std::chrono::milliseconds betweenLooks_;
  OpenLibrary* library_ = nullptr;
  SteadyClock::time_point lookedAt_;
};

LibraryReader::LibraryReader(const std::string& path, const OpenLibraryOptions& options, Task looked,
                             std::chrono::milliseconds betweenLooks)
    : state_(std::make_unique<State>(std::move(looked), betweenLooks)),
      thread_([state = state_.get(), path, options] { state->run(path, options); }) {}

LibraryReader::~LibraryReader() {
  end();
  state_->loop.quit();
  thread_.join();
}

void LibraryReader::end() { state_->ending = true; }

bool LibraryReader::post(Task task) {
  if (state_->ending || state_->waiting >= kMostWaiting) return false;
  ++state_->waiting;
  state_->loop.post([state = state_.get(), task = std::move(task)] { state->take(task); });
  return true;
}

void LibraryReader::look() { state_->look(); }

}  // namespace moxtel
