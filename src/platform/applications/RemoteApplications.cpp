#include "platform/applications/RemoteApplications.h"

#include <algorithm>
#include <utility>

#include "platform/applications/ScriptResult.h"
#include "value/LaterText.h"
#include "value/Trimmed.h"

namespace moxtel {

namespace {

constexpr std::chrono::milliseconds kAnswerTime{10'000};
// Until the first answer, a failed question is repeated sooner: the start of the server waits for it.
constexpr std::chrono::milliseconds kFirstInterval{500};
constexpr const char* kNamesScript =
    "tell application \"System Events\" to name of every application process";

}  // namespace

RemoteApplications::RemoteApplications(RunningApplications& local, std::vector<std::string> words,
                                       ProcessRunner& processes, Report report,
                                       std::chrono::milliseconds interval)
    : local_(local),
      words_(std::move(words)),
      processes_(processes),
      report_(std::move(report)),
      interval_(interval),
      thread_([this] { askUntilTheEnd(); }) {}

RemoteApplications::~RemoteApplications() {
  end();
  thread_.join();
}

void RemoteApplications::end() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  canceled_ = true;
  wake_.notify_all();
}

std::vector<std::string> RemoteApplications::names() {
  std::vector<std::string> names = local_.names();
  const std::lock_guard lock(mutex_);
  isWanted_ = true;
  wake_.notify_all();
  names.insert(names.end(), answered_.begin(), answered_.end());
  return names;
}

void RemoteApplications::awaitFirstAnswer(std::chrono::milliseconds longest,
                                          const std::function<void()>& onWait) {
  std::unique_lock lock(mutex_);
  isWanted_ = true;
  wake_.notify_all();
  if (isKnown_ || std::exchange(hasWaited_, true)) return;
  lock.unlock();
  onWait();
  lock.lock();
  wake_.wait_for(lock, longest, [this] { return isKnown_ || ending_; });
}

void RemoteApplications::pause() {
  const std::lock_guard lock(mutex_);
  isWanted_ = false;
}

void RemoteApplications::askUntilTheEnd() {
  std::unique_lock lock(mutex_);
  while (true) {
    wake_.wait(lock, [this] { return ending_ || isWanted_; });
    if (ending_) return;
    lock.unlock();
    Answer answer = ask();
    lock.lock();
    if (ending_) return;
    if (takeAnswer(answer)) {
      lock.unlock();
      report_(answer.problem);
      lock.lock();
    }
    wake_.wait_for(lock, isKnown_ ? interval_ : std::min(interval_, kFirstInterval),
                   [this] { return ending_; });
  }
}

bool RemoteApplications::takeAnswer(Answer& answer) {
  const bool failed = !answer.problem.empty();
  if (failed && (failures_ == kFailuresUntilGone || ++failures_ < kFailuresUntilGone)) return false;
  if (!failed) failures_ = 0;
  answered_ = std::move(answer.names);
  isKnown_ = true;
  wake_.notify_all();
  return failed;
}

RemoteApplications::Answer RemoteApplications::ask() {
  ProcessRequest request;
  request.program = words_.front();
  request.arguments.assign(words_.begin() + 1, words_.end());
  request.input = kNamesScript;
  request.timeout = kAnswerTime;
  request.canceled = [this] { return canceled_.load(); };
  return answerFrom(processes_.run(request));
}

RemoteApplications::Answer RemoteApplications::answerFrom(const ProcessResult& result) {
  switch (result.ending) {
    case ProcessResult::Ending::Exited:
      break;
    case ProcessResult::Ending::TimedOut:
      return {{}, LaterText::later("the script interpreter did not answer in time")};
    case ProcessResult::Ending::TooMuchOutput:
      return {{}, LaterText::later("the script interpreter printed too much")};
    case ProcessResult::Ending::Killed:
      return {{}, LaterText::later("the script interpreter died")};
    case ProcessResult::Ending::NotStarted:
      return {
          {},
          std::string(LaterText::later("the script interpreter could not be started")) + ": " + result.error};
  }
  if (result.exitStatus != 0) return {{}, scriptErrorFrom(result.error, result.exitStatus).text};
  const std::string_view printed = trimmed(result.output);
  const Value list = scriptResultValue(printed);
  Answer answer;
  bool isList = list.isArray() && printed.ends_with('}');
  for (const Value& name : list.array()) {
    isList = isList && name.isString();
    answer.names.emplace_back(name.string());
  }
  if (isList) return answer;
  return {{}, LaterText::later("the script interpreter did not print a list of names in source form")};
}

}  // namespace moxtel
