#include "platform/applications/ScriptInterpreters.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "platform/applications/ScriptResult.h"
#include "platform/settings/UserDefaults.h"
#include "value/LaterText.h"

namespace moxtel {

namespace {

// A list of a million Aperture uuids takes about 26 MB.
constexpr std::size_t kOutputLimit = 64u << 20;
constexpr const char* kOsascript = "/usr/bin/osascript";

// Error numbers of the runner itself, below those that AppleScript uses.
constexpr std::int64_t kNoInterpreter = -100001;
constexpr std::int64_t kTimedOut = -100002;
constexpr std::int64_t kTooMuchOutput = -100003;
constexpr std::int64_t kKilled = -100004;
constexpr std::int64_t kNotTried = -100005;

ScriptOutcome notTried(const char* why) {
  return ScriptOutcome::failed(kNotTried, why, ScriptFailure::NotTried);
}

}  // namespace

ScriptOutcome NoScriptRunner::run(std::string_view) {
  return ScriptOutcome::failed(kNoInterpreter, "There is no AppleScript interpreter on this machine",
                               ScriptFailure::NoInterpreter);
}

InterpreterScriptRunner::InterpreterScriptRunner(std::vector<std::string> words, ProcessRunner& processes,
                                                 std::chrono::milliseconds timeout,
                                                 std::function<std::chrono::steady_clock::time_point()> now)
    : words_(std::move(words)), processes_(processes), timeout_(timeout), now_(std::move(now)) {}

void InterpreterScriptRunner::beginCommand(std::optional<std::chrono::milliseconds> together) {
  deadline_.reset();
  if (together) deadline_ = now_() + *together;
  answered_ = 0;
  unusable_ = false;
}

std::chrono::milliseconds InterpreterScriptRunner::timeLeft() const {
  if (!deadline_) return timeout_;
  return std::min(timeout_, std::chrono::ceil<std::chrono::milliseconds>(*deadline_ - now_()));
}

ScriptOutcome InterpreterScriptRunner::run(std::string_view source) {
  if (ended_) return notTried("The server ends");
  if (unusable_) return notTried("The script interpreter failed earlier in this command");
  ProcessRequest request;
  request.program = words_.front();
  request.arguments.assign(words_.begin() + 1, words_.end());
  request.input = std::string(source);
  request.timeout = timeLeft();
  request.outputLimit = kOutputLimit;
  request.canceled = [this] { return ended_.load(); };
  ProcessResult result;
  result.ending = ProcessResult::Ending::TimedOut;
  if (request.timeout > std::chrono::milliseconds(0)) result = processes_.run(request);
  return outcomeOf(result);
}

ScriptOutcome InterpreterScriptRunner::failUntilNextCommand(std::int64_t number, std::string why) {
  unusable_ = true;
  return ScriptOutcome::failed(number, std::move(why), ScriptFailure::Unusable);
}

ScriptOutcome InterpreterScriptRunner::outcomeOf(const ProcessResult& result) {
  switch (result.ending) {
    case ProcessResult::Ending::Exited:
      break;
    case ProcessResult::Ending::TimedOut:
      return failUntilNextCommand(
          kTimedOut, answered_ == 0
                         ? LaterText::later("The script interpreter did not answer in time")
                         : std::string(LaterText::later("The script interpreter is too slow")) + ": it ran " +
                               std::to_string(answered_) + (answered_ == 1 ? " script" : " scripts") +
                               ", and then the time was over");
    case ProcessResult::Ending::TooMuchOutput:
      return ScriptOutcome::failed(kTooMuchOutput, "The script interpreter printed too much");
    case ProcessResult::Ending::Killed:
      if (ended_) return notTried("The server ends");
      return ScriptOutcome::failed(kKilled, "The script interpreter died: " + scriptErrorText(result.error));
    case ProcessResult::Ending::NotStarted:
      return failUntilNextCommand(
          kNoInterpreter,
          std::string(LaterText::later("The script interpreter could not be started")) + ": " + result.error);
  }
  ++answered_;
  if (result.exitStatus == 0) return ScriptOutcome::success(scriptResultValue(result.output));
  ScriptOutcome outcome;
  outcome.error = scriptErrorFrom(result.error, result.exitStatus);
  return outcome;
}

std::string InterpreterScriptRunner::command() const {
  std::string text;
  for (const std::string& word : words_) text += (text.empty() ? "" : " ") + word;
  return text;
}

std::vector<std::string> commandWords(std::string_view command) {
  std::vector<std::string> words;
  std::string word;
  bool inWord = false;
  char quote = 0;
  for (std::size_t i = 0; i < command.size(); ++i) {
    const char c = command[i];
    if (c == '\\' && quote != '\'' && i + 1 < command.size()) {
      word += command[++i];
      inWord = true;
    } else if (quote != 0) {
      c == quote ? void(quote = 0) : word.push_back(c);
    } else if (c == '\'' || c == '"') {
      quote = c;
      inWord = true;
    } else if (c == ' ' || c == '\t' || c == '\n') {
      if (inWord) words.push_back(std::move(word));
      word.clear();
      inWord = false;
    } else {
      word += c;
      inWord = true;
    }
  }
  if (inWord) words.push_back(std::move(word));
  return words;
}

std::vector<std::string> scriptInterpreterWords(const UserDefaults& defaults) {
  if (const auto command = defaults.stringForKey("ScriptInterpreter")) {
    auto words = commandWords(*command);
    if (!words.empty()) return words;
  }
  if (::access(kOsascript, X_OK) == 0) return {kOsascript, "-s", "s", "-"};
  return {};
}

std::unique_ptr<ScriptRunner> makeScriptRunner(const UserDefaults& defaults, ProcessRunner& processes) {
  auto words = scriptInterpreterWords(defaults);
  if (words.empty()) return std::make_unique<NoScriptRunner>();
  return std::make_unique<InterpreterScriptRunner>(std::move(words), processes);
}

}  // namespace moxtel
