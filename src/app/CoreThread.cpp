#include "app/CoreThread.h"

#include "app/ServerProgram.h"
#include "net/QVSocketServer.h"
#include "platform/loop/CoreLoop.h"

namespace moxtel {

namespace {

constexpr EventLoop::Duration kStatusInterval = std::chrono::seconds(1);

}  // namespace

struct CoreThread::Run {
  CoreLoop loop;
  std::mutex mutex;
  bool ending = false;  // guarded by mutex
  // Written on the core thread under the mutex. The core thread reads it without the mutex.
  ServerProgram* program = nullptr;
  std::unique_ptr<Timer> statusTimer;  // core thread

  void set(ServerProgram* now) {
    const std::lock_guard lock(mutex);
    program = now;
    if (program && ending) program->endWork();
  }
  bool isEnding() {
    const std::lock_guard lock(mutex);
    return ending;
  }
};

CoreThread::CoreThread(UserDefaults& defaults, ConsoleView& view, StatusChanged statusChanged)
    : defaults_(defaults), view_(view), statusChanged_(std::move(statusChanged)) {
  begin({});
}

CoreThread::~CoreThread() {
  askToEnd();
  thread_.join();
}

void CoreThread::restart() {
  askToEnd();
  begin(std::move(thread_));
}

// The server starts when the previous one has ended.
void CoreThread::begin(std::thread previous) {
  run_ = std::make_shared<Run>();
  run_->loop.post([this, run = run_.get()] {
    run->program->start();
    reportStatus(*run->program);
    run->statusTimer = run->loop.callEvery(kStatusInterval, [this, run] { reportStatus(*run->program); });
  });
  thread_ = std::thread([this, run = run_, previous = std::move(previous)]() mutable {
    if (previous.joinable()) previous.join();
    if (!run->isEnding()) serve(*run);
  });
}

void CoreThread::askToEnd() {
  QVSocketServer::closeToClients();
  {
    const std::lock_guard lock(run_->mutex);
    run_->ending = true;
    if (run_->program) run_->program->endWork();
  }
  run_->loop.quit();
}

void CoreThread::serve(Run& run) {
  ServerProgram program(run.loop, defaults_, view_);
  run.set(&program);
  run.loop.run();
  run.statusTimer.reset();
  run.set(nullptr);
}

void CoreThread::post(Action action) {
  run_->loop.post([this, run = run_.get(), action = std::move(action)] {
    action(*run->program);
    reportStatus(*run->program);
  });
}

void CoreThread::reportStatus(ServerProgram& program) {
  ServerStatus status = program.status();
  if (lastReported_ && *lastReported_ == status) return;
  lastReported_ = std::make_unique<ServerStatus>(status);
  statusChanged_(status);
}

}  // namespace moxtel
