// The processes of a Linux machine, from /proc: each has its name (comm, which the kernel cuts at 15 bytes)
// and, where it is another and may be read, the base name of its executable. Zombies and threads of the
// kernel are no applications and are left out.
#pragma once

#include <string>
#include <vector>

#include "platform/RunningApplications.h"

namespace moxtel {

class ProcRunningApplications final : public RunningApplications {
 public:
  explicit ProcRunningApplications(std::string folder = "/proc") : folder_(std::move(folder)) {}
  std::vector<std::string> names() override;

 private:
  std::string folder_;
};

}  // namespace moxtel
