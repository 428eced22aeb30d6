// Runs an AppleScript text and gives its result.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "value/Value.h"

namespace moxtel {

// The number of a failure for want of an interpreter; below those that AppleScript uses.
inline constexpr std::int64_t kNoScriptInterpreter = -100001;

struct ScriptError {
  std::int64_t number = 0;  // the interpreter's, or a negative number of the runner's own
  std::string text;
  bool isSyntaxError = false;  // the text did not compile; otherwise it failed while it ran
};

// Either a result or an error.
struct ScriptOutcome {
  bool succeeded = false;
  Value result;  // nil for a script that gives nothing; a text, an integer, a real, or an array of these
  ScriptError error;

  static ScriptOutcome success(Value value) { return {true, std::move(value), {}}; }
  static ScriptOutcome failure(std::int64_t number, std::string text) {
    return {false, Value(), {number, std::move(text), false}};
  }
};

class ScriptRunner {
 public:
  virtual ~ScriptRunner() = default;
  // Blocks until the script has run, for at most two minutes. Core thread.
  virtual ScriptOutcome run(std::string_view source) = 0;
  // For the console: what runs the scripts, or why nothing does.
  virtual std::string description() const = 0;
  // Begins a new command or start-up: an interpreter that timed out before is asked again.
  virtual void beginCommand() {}

 protected:
  ScriptRunner() = default;
  ScriptRunner(const ScriptRunner&) = default;
  ScriptRunner& operator=(const ScriptRunner&) = default;
};

}  // namespace moxtel
