#include "app/CoreThread.h"

#include "app/ServerProgram.h"
#include "net/QVSocketServer.h"
#include "platform/loop/CoreLoop.h"

namespace moxtel {

namespace {

constexpr EventLoop::Duration kStatusInterval = std::chrono::seconds(1);

}  // namespace

CoreThread::CoreThread(UserDefaults& defaults, ConsoleView& view, StatusChanged statusChanged)
    : defaults_(defaults), view_(view), statusChanged_(std::move(statusChanged)) {
  begin();
}

CoreThread::~CoreThread() { end(); }

void CoreThread::restart() {
  end();
  begin();
}

void CoreThread::begin() {
  loop_ = std::make_unique<CoreLoop>();
  ending_ = false;
  thread_ = std::thread([this] { run(); });
}

void CoreThread::end() {
  QVSocketServer::closeToClients();
  {
    const std::lock_guard lock(endMutex_);
    ending_ = true;
    if (program_) program_->endWork();
  }
  loop_->quit();
  thread_.join();
}

void CoreThread::run() {
  ServerProgram program(*loop_, defaults_, view_);
  setProgram(&program);
  std::unique_ptr<Timer> timer;
  loop_->post([this, &program, &timer] {
    program.start();
    reportStatus(program);
    timer = loop_->callEvery(kStatusInterval, [this, &program] { reportStatus(program); });
  });
  loop_->run();
  timer.reset();
  setProgram(nullptr);
}

void CoreThread::setProgram(ServerProgram* program) {
  const std::lock_guard lock(endMutex_);
  program_ = program;
  if (program_ && ending_) program_->endWork();
}

void CoreThread::post(Action action) {
  loop_->post([this, action = std::move(action)] {
    if (!program_) return;
    action(*program_);
    reportStatus(*program_);
  });
}

void CoreThread::reportStatus(ServerProgram& program) {
  ServerStatus status = program.status();
  if (lastReported_ && *lastReported_ == status) return;
  lastReported_ = std::make_unique<ServerStatus>(status);
  statusChanged_(status);
}

}  // namespace moxtel
