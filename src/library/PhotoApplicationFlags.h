// Which photo applications run. Written by the application monitor on the core thread, read on any thread.
#pragma once

#include <atomic>

namespace moxtel {

struct PhotoApplicationFlags {
  std::atomic<bool> connectedWithIPhoto{false};
  std::atomic<bool> connectedWithAperture{false};
};

}  // namespace moxtel
