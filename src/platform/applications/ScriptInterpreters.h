// The script runners: one passes scripts to an external interpreter, the other has none.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/applications/ScriptRunner.h"
#include "platform/process/ChildProcess.h"

namespace moxtel {

class UserDefaults;

inline constexpr std::chrono::milliseconds kScriptTimeout{120'000};

// For a machine without an interpreter: every script fails at once, with an error for the user.
class NoScriptRunner final : public ScriptRunner {
 public:
  bool hasInterpreter() const override { return false; }
  ScriptOutcome run(std::string_view source) override;
};

// Passes each script to a program on its standard input and reads the result in source form. The program is
// started for each script, never through a shell.
class InterpreterScriptRunner final : public ScriptRunner {
 public:
  // Words: the program and its arguments, at least one. Borrows the process runner. now is the steady clock,
  // except in tests.
  InterpreterScriptRunner(
      std::vector<std::string> words, ProcessRunner& processes,
      std::chrono::milliseconds timeout = kScriptTimeout,
      std::function<std::chrono::steady_clock::time_point()> now = std::chrono::steady_clock::now);

  // After a timeout or a failed start every further script fails at once until beginCommand().
  ScriptOutcome run(std::string_view source) override;
  std::string command() const override;
  void beginCommand(std::optional<std::chrono::milliseconds> together) override;
  void end() override { ended_ = true; }

 private:
  // How long the next script may take; 0 or less once the time of the command is over.
  std::chrono::milliseconds timeLeft() const;
  ScriptOutcome failUntilNextCommand(std::int64_t number, std::string why);
  ScriptOutcome outcomeOf(const ProcessResult& result);

  const std::vector<std::string> words_;
  ProcessRunner& processes_;
  const std::chrono::milliseconds timeout_;
  const std::function<std::chrono::steady_clock::time_point()> now_;
  std::optional<std::chrono::steady_clock::time_point> deadline_;  // of the command
  int answered_ = 0;                                               // scripts of the command
  bool unusable_ = false;
  std::atomic<bool> ended_{false};
};

// Splits a command at blanks; '…' and "…" quote words, a backslash outside '…' quotes the next character. No
// other character is special: there is no shell.
std::vector<std::string> commandWords(std::string_view command);

// The command in the user default "ScriptInterpreter"; else osascript where it exists; else empty.
std::vector<std::string> scriptInterpreterWords(const UserDefaults& defaults);

std::unique_ptr<ScriptRunner> makeScriptRunner(const UserDefaults& defaults, ProcessRunner& processes);

}  // namespace moxtel
