// The names of the applications that run on this machine (and, with a remote script interpreter, on its
// machine).
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace moxtel {

class RunningApplications {
 public:
  virtual ~RunningApplications() = default;
  // Names as their users know them ("iPhoto"), in no particular order; a process may have two. Core thread;
  // well under a millisecond per hundred processes, touches no disk.
  virtual std::vector<std::string> names() = 0;

 protected:
  RunningApplications() = default;
  RunningApplications(const RunningApplications&) = default;
  RunningApplications& operator=(const RunningApplications&) = default;
};

// This machine's.
std::unique_ptr<RunningApplications> makeRunningApplications();

}  // namespace moxtel
