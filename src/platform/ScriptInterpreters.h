// The script runners: an external interpreter, or none.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/ChildProcess.h"
#include "platform/ScriptRunner.h"

namespace moxtel {

class UserDefaults;

inline constexpr std::chrono::milliseconds kScriptTimeout{120'000};

// Fails at once with a clear error.
class NoScriptRunner final : public ScriptRunner {
 public:
  ScriptOutcome run(std::string_view source) override;
  std::string description() const override;
};

// Hands each script to a program on its standard input and reads the result in source form. The program is
// started anew for each script and never through a shell.
class InterpreterScriptRunner final : public ScriptRunner {
 public:
  // Words: program and arguments, at least one. Borrows the process runner.
  InterpreterScriptRunner(std::vector<std::string> words, ProcessRunner& processes,
                          std::chrono::milliseconds timeout = kScriptTimeout);

  // After a time-out every further script fails at once until beginCommand().
  ScriptOutcome run(std::string_view source) override;
  std::string description() const override;
  void beginCommand() override { hanging_ = false; }

 private:
  std::vector<std::string> words_;
  ProcessRunner& processes_;
  std::chrono::milliseconds timeout_;
  bool hanging_ = false;
};

// Splits a command at blanks; '…' and "…" hold words together, a backslash outside '…' takes the next
// character as it is. Nothing else has a meaning: there is no shell.
std::vector<std::string> commandWords(std::string_view command);

// The command in the user default "ScriptInterpreter"; else osascript where it exists; else empty.
std::vector<std::string> scriptInterpreterWords(const UserDefaults& defaults);

std::unique_ptr<ScriptRunner> makeScriptRunner(const UserDefaults& defaults, ProcessRunner& processes);

}  // namespace moxtel
