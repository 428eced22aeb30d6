// For systems whose list of running applications this program cannot read yet.
#include "platform/RunningApplications.h"
#include "platform/SystemLog.h"

namespace moxtel {

namespace {

class NoRunningApplications final : public RunningApplications {
 public:
  std::vector<std::string> names() override { return {}; }
};

}  // namespace

std::unique_ptr<RunningApplications> makeRunningApplications(const std::vector<std::string>& /*wanted*/) {
  NSLog("the running applications of this system are not known: iPhoto and Aperture count as not running");
  return std::make_unique<NoRunningApplications>();
}

}  // namespace moxtel
