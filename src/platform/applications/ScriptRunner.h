// Runs an AppleScript text and returns its result.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "value/Value.h"

namespace moxtel {

// How long all scripts of one command, or of one start-up, may take together. It limits how long a client
// waits for a list that needs many slow scripts.
inline constexpr std::chrono::milliseconds kTimeForQuestions{120'000};

enum class ScriptFailure : unsigned char {
  OfTheScript,    // it does not compile, the application rejected it, or the interpreter crashed
  NoInterpreter,  // there is none on this machine
  Unusable,       // the interpreter cannot be started, or timed out; the command's other scripts are NotTried
  NotTried,       // the interpreter was Unusable for this command, or the program ends
};

struct ScriptError {
  std::int64_t number = 0;  // of the interpreter, or of the runner itself, below AppleScript's
  std::string text;
  bool isSyntaxError = false;  // the text did not compile; otherwise it failed while it ran
  ScriptFailure failure = ScriptFailure::OfTheScript;
};

// Either a result or an error.
struct ScriptOutcome {
  bool succeeded = false;
  Value result;  // nil for a script without a result; a text, an integer, a real, or an array of these
  ScriptError error;

  static ScriptOutcome success(Value value) { return {true, std::move(value), {}}; }
  static ScriptOutcome failed(std::int64_t number, std::string text,
                              ScriptFailure failure = ScriptFailure::OfTheScript) {
    return {false, Value(), {number, std::move(text), false, failure}};
  }
};

class ScriptRunner {
 public:
  virtual ~ScriptRunner() = default;
  // Whether there is an interpreter at all. Without one every script fails at once with NoInterpreter.
  virtual bool hasInterpreter() const { return true; }
  // Blocks until the script has run, for at most two minutes. Core thread.
  virtual ScriptOutcome run(std::string_view source) = 0;
  // The interpreter's command line, for people; empty without one.
  virtual std::string command() const { return {}; }
  // Begins a command or a start-up: an interpreter that timed out is tried again. The scripts of the command
  // may take this long together; without a limit each may take its two minutes. Core thread.
  virtual void beginCommand(std::optional<std::chrono::milliseconds> /*together*/) {}
  // Call when the program ends: stops the running script and runs no other. Any thread.
  virtual void end() {}

 protected:
  ScriptRunner() = default;
  ScriptRunner(const ScriptRunner&) = default;
  ScriptRunner& operator=(const ScriptRunner&) = default;
};

}  // namespace moxtel
