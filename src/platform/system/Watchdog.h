// The service manager's watchdog: it restarts a service that sends no "WATCHDOG=1" for some time
// (WATCHDOG_USEC and WATCHDOG_PID in the environment, sd_watchdog_enabled(3)). The core thread sends it, so
// that a core thread that hangs is noticed.
#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include "platform/loop/EventLoop.h"

namespace moxtel {

// How long this process may be silent; nullopt without a watchdog. Any thread.
std::optional<std::chrono::milliseconds> watchdogLimit();

// Long work on the core thread that makes progress calls this from time to time: it counts as a sign of life.
// Sends at most ten in a limit's time. Any thread; cheap.
void reportProgress();

// Sends a sign of life ten times in a limit's time, from the loop. Core thread.
class Watchdog final {
 public:
  // Borrows the loop.
  explicit Watchdog(EventLoop& loop);

 private:
  std::unique_ptr<Timer> timer_;  // null without a watchdog
};

}  // namespace moxtel
