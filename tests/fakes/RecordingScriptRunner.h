// A script runner that records the scripts and returns the results that the test sets.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/applications/ScriptRunner.h"

namespace moxtel::test {

class RecordingScriptRunner final : public ScriptRunner {
 public:
  // Without an answer, every script succeeds without a result.
  std::function<ScriptOutcome(const std::string& source)> answer = [](const std::string&) {
    return ScriptOutcome::success(Value());
  };
  bool interpreter = true;
  std::vector<std::string> scripts;
  int commands = 0;                                // how often a command began
  std::optional<std::chrono::milliseconds> limit;  // of the last

  bool hasInterpreter() const override { return interpreter; }
  ScriptOutcome run(std::string_view source) override {
    scripts.emplace_back(source);
    return answer(scripts.back());
  }
  void beginCommand(std::optional<std::chrono::milliseconds> together) override {
    ++commands;
    limit = together;
  }

  void answers(Value value) {
    answer = [value = std::move(value)](const std::string&) { return ScriptOutcome::success(value); };
  }
  void fails(const char* text = "broken", bool isSyntaxError = false) {
    answer = [text = std::string(text), isSyntaxError](const std::string&) {
      ScriptOutcome outcome = ScriptOutcome::failed(-2741, text);
      outcome.error.isSyntaxError = isSyntaxError;
      return outcome;
    };
  }
};

}  // namespace moxtel::test
