// The processes of a Linux machine, from /proc: a process is the application of its name (comm, which the
// kernel cuts at 15 bytes), or else of the base name of its executable, where that may be read. Zombies and
// threads of the kernel are no applications.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/applications/RunningApplications.h"

namespace moxtel {

// Every question reads the folder and two files of each process; nothing stays open in between. A program
// without a free descriptor gets the previous answer again. Core thread.
class ProcRunningApplications final : public RunningApplications {
 public:
  explicit ProcRunningApplications(std::vector<std::string> wanted, std::string folder = "/proc");

  std::vector<std::string> names() override;

 private:
  std::optional<std::vector<std::string>> read() const;

  const std::vector<std::string> wanted_;
  const std::string folder_;
  std::vector<std::string> running_;  // the last answer
};

}  // namespace moxtel
