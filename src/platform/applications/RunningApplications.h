// Which applications run on this machine (and, with a remote script interpreter, on its machine).
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace moxtel {

class RunningApplications {
 public:
  virtual ~RunningApplications() = default;
  // Names as users know them ("iPhoto"), in no particular order; one that runs twice may be listed
  // twice. Core thread; a few milliseconds for a thousand processes, reads no disk.
  virtual std::vector<std::string> names() = 0;
  // Waits, once in the life of the object, until it is known which applications run on another machine: until
  // the first answer, at most this long. Calls onWait before it waits; returns at once where there is nothing
  // to wait for. Core thread.
  virtual void awaitFirstAnswer(std::chrono::milliseconds /*longest*/,
                                const std::function<void()>& /*onWait*/) {}
  // The next names are not wanted soon: another machine is not asked until they are. Any thread.
  virtual void pause() {}
  // Call when the program ends: ends the waiting. Any thread.
  virtual void end() {}

 protected:
  RunningApplications() = default;
  RunningApplications(const RunningApplications&) = default;
  RunningApplications& operator=(const RunningApplications&) = default;
};

// The applications of this machine; only those with one of the wanted names are listed.
std::unique_ptr<RunningApplications> makeRunningApplications(const std::vector<std::string>& wanted);

}  // namespace moxtel
