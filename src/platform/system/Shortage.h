// Tells what failed because the system lacked something for a moment from what fails each time. Opening files
// and starting programs report such failures here; who answers for the result asks afterwards.
#pragma once

#include <cstdint>

namespace moxtel {

// Counts the failure for this thread if a call failed for want of descriptors, memory or processes.
// error: an errno, which stays as it is.
void noteShortage(int error);

// Begins with its construction, and sees the failures of this thread alone.
class ShortageWatch final {
 public:
  ShortageWatch();
  bool sawOne() const;

 private:
  std::uint64_t before_;
};

}  // namespace moxtel
