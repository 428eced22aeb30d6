#include "platform/ScriptInterpreters.h"

#include <unistd.h>

#include "platform/ScriptResult.h"
#include "platform/UserDefaults.h"

namespace moxtel {

namespace {

// A list of a million Aperture uuids has about 26 MB.
constexpr std::size_t kOutputLimit = 64u << 20;
constexpr const char* kOsascript = "/usr/bin/osascript";

// Numbers of the runner's own, below those that AppleScript uses.
constexpr std::int64_t kTimedOut = -100002;
constexpr std::int64_t kTooMuchOutput = -100003;
constexpr std::int64_t kKilled = -100004;

}  // namespace

ScriptOutcome NoScriptRunner::run(std::string_view) {
  return ScriptOutcome::failure(kNoScriptInterpreter, "There is no AppleScript interpreter on this machine");
}

std::string NoScriptRunner::description() const {
  return "No AppleScript interpreter here: the photo application cannot be asked (set \"ScriptInterpreter\" "
         "to use one "
         "on another machine)";
}

InterpreterScriptRunner::InterpreterScriptRunner(std::vector<std::string> words, ProcessRunner& processes,
                                                 std::chrono::milliseconds timeout)
    : words_(std::move(words)), processes_(processes), timeout_(timeout) {}

ScriptOutcome InterpreterScriptRunner::run(std::string_view source) {
  if (hanging_) return ScriptOutcome::failure(kTimedOut, "The script interpreter did not answer before");
  ProcessRequest request;
  request.program = words_.front();
  request.arguments.assign(words_.begin() + 1, words_.end());
  request.input = std::string(source);
  request.timeout = timeout_;
  request.outputLimit = kOutputLimit;
  const ProcessResult result = processes_.run(request);
  switch (result.ending) {
    case ProcessResult::Ending::Exited:
      break;
    case ProcessResult::Ending::TimedOut:
      hanging_ = true;
      return ScriptOutcome::failure(kTimedOut, "The script interpreter did not answer in time");
    case ProcessResult::Ending::TooMuchOutput:
      return ScriptOutcome::failure(kTooMuchOutput, "The script interpreter printed too much");
    case ProcessResult::Ending::Killed:
      return ScriptOutcome::failure(kKilled, "The script interpreter died: " + result.error);
    case ProcessResult::Ending::NotStarted:
      return ScriptOutcome::failure(kNoScriptInterpreter,
                                    "The script interpreter could not be started: " + result.error);
  }
  if (result.exitStatus == 0) return ScriptOutcome::success(scriptResultValue(result.output));
  ScriptOutcome outcome;
  outcome.error = scriptErrorFrom(result.error, result.exitStatus);
  return outcome;
}

std::string InterpreterScriptRunner::description() const {
  std::string text = "AppleScript is run by '";
  for (std::size_t i = 0; i < words_.size(); ++i) text += (i ? " " : "") + words_[i];
  return text + "'";
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
