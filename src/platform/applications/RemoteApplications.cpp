#include "platform/applications/RemoteApplications.h"

#include "platform/applications/ScriptResult.h"

namespace moxtel {

namespace {

constexpr std::chrono::milliseconds kAnswerTime{10'000};
constexpr const char* kNamesScript =
    "tell application \"System Events\" to name of every application process";

}  // namespace

RemoteApplications::RemoteApplications(RunningApplications& local, std::vector<std::string> words,
                                       ProcessRunner& processes, std::chrono::milliseconds interval)
    : local_(local), words_(std::move(words)), processes_(processes), interval_(interval), thread_([this] {
        askUntilTheEnd();
      }) {}

RemoteApplications::~RemoteApplications() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  canceled_ = true;
  wake_.notify_all();
  thread_.join();
}

std::vector<std::string> RemoteApplications::names() {
  std::vector<std::string> names = local_.names();
  const std::lock_guard lock(mutex_);
  names.insert(names.end(), answered_.begin(), answered_.end());
  return names;
}

void RemoteApplications::askUntilTheEnd() {
  std::unique_lock lock(mutex_);
  while (!ending_) {
    lock.unlock();
    std::vector<std::string> answer = ask();
    lock.lock();
    answered_ = std::move(answer);
    wake_.wait_for(lock, interval_, [this] { return ending_; });
  }
}

std::vector<std::string> RemoteApplications::ask() {
  ProcessRequest request;
  request.program = words_.front();
  request.arguments.assign(words_.begin() + 1, words_.end());
  request.input = kNamesScript;
  request.timeout = kAnswerTime;
  request.canceled = &canceled_;
  const ProcessResult result = processes_.run(request);
  std::vector<std::string> names;
  if (result.ending != ProcessResult::Ending::Exited || result.exitStatus != 0) return names;
  const Value printed = scriptResultValue(result.output);
  for (const Value& name : printed.array()) names.emplace_back(name.string());
  return names;
}

}  // namespace moxtel
