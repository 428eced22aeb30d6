// A process runner for tests: answers from a function and records the requests.
#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "platform/process/ChildProcess.h"

namespace moxtel {

class FakeProcessRunner final : public ProcessRunner {
 public:
  using Answer = std::function<ProcessResult(const ProcessRequest&)>;

  // Without an answer no program can be started.
  FakeProcessRunner() : FakeProcessRunner([](const ProcessRequest&) { return ProcessResult{}; }) {}
  explicit FakeProcessRunner(Answer answer) : answer_(std::move(answer)) {}

  // A program that prints this and exits.
  static ProcessResult printing(std::string output, int exitStatus = 0) {
    return {ProcessResult::Ending::Exited, exitStatus, std::move(output), {}};
  }

  // The answer's output goes to the request's onOutput, if it has one: in one chunk, or in those of
  // setChunks().
  ProcessResult run(const ProcessRequest& request) override {
    requests_.push_back(request);
    ProcessResult result = answer_(request);
    if (!request.onOutput) return result;
    std::vector<std::string> chunks = chunks_;
    if (chunks.empty() && !result.output.empty()) chunks.push_back(result.output);
    for (const auto& chunk : chunks) {
      if (!request.onOutput(chunk)) break;
    }
    result.output.clear();
    return result;
  }

  void setChunks(std::vector<std::string> chunks) { chunks_ = std::move(chunks); }
  const std::vector<ProcessRequest>& requests() const { return requests_; }

 private:
  Answer answer_;
  std::vector<std::string> chunks_;
  std::vector<ProcessRequest> requests_;
};

}  // namespace moxtel
