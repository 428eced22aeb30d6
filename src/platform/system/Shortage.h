// Distinguishes failures that pass, because the system lacks descriptors, memory or processes for a moment,
// from those that come each time. Code that opens files or starts programs notes them; the code that answers
// a request asks whether there were any.
#pragma once

#include <cstdint>

namespace moxtel {

// Notes for this thread that a call failed, if its error (errno) is such a failure.
void noteShortage(int error);

// Watches the calls of this thread from its construction on.
class ShortageWatch final {
 public:
  ShortageWatch();
  bool sawOne() const;

 private:
  std::uint64_t before_;
};

}  // namespace moxtel
