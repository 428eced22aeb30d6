// Runs another program and reads what it prints. No shell: the arguments reach the program unchanged. The
// child inherits only the standard descriptors.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace moxtel {

struct ProcessRequest {
  std::string program;  // absolute path, or a name looked up in PATH
  std::vector<std::string> arguments;
  std::string input;                          // for its standard input, which is then closed
  std::chrono::milliseconds timeout{10'000};  // of the whole run; then the child is killed
  std::size_t outputLimit = 1 << 20;          // bytes of each stream; beyond that the child is killed
  // Called for every chunk of standard output as it arrives; false stops the reading (the child may run on
  // until the time-out). Without it the output is collected.
  std::function<bool(std::string_view chunk)> onOutput;
  // Called often, on the calling thread; true ends the run: the child is killed.
  std::function<bool()> canceled = nullptr;
  // Its standard input instead of `input`; -1: none. Borrowed.
  int inputDescriptor = -1;
};

struct ProcessResult {
  enum class Ending : unsigned char { Exited, Killed, TimedOut, TooMuchOutput, NotStarted };
  Ending ending = Ending::NotStarted;
  int exitStatus = -1;  // when Exited
  std::string output;   // when there was no onOutput
  std::string error;    // standard error; the reason when NotStarted
};

class ProcessRunner {
 public:
  virtual ~ProcessRunner() = default;
  // Blocks the calling thread until the program has ended or been killed: bounded by the time-out. Any
  // thread. Notes a shortage (see Shortage.h) that keeps the program from being started.
  virtual ProcessResult run(const ProcessRequest& request) = 0;

 protected:
  ProcessRunner() = default;
  ProcessRunner(const ProcessRunner&) = default;
  ProcessRunner& operator=(const ProcessRunner&) = default;
};

// The machine's processes.
class SystemProcessRunner final : public ProcessRunner {
 public:
  ProcessResult run(const ProcessRequest& request) override;
  // Kills what runs, and soon kills what is started later: the program ends. Any thread.
  void end() { ended_ = true; }
  bool hasEnded() const { return ended_; }

 private:
  std::atomic<bool> ended_{false};
};

}  // namespace moxtel
