#include "platform/system/Watchdog.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/system/ServiceManager.h"

namespace moxtel {

namespace {

using std::chrono::milliseconds;

constexpr int kSignsInLimit = 10;

std::int64_t numberInEnvironment(const char* name) {
  const char* text = std::getenv(name);
  return text ? std::strtoll(text, nullptr, 10) : 0;
}

milliseconds intervalOf(milliseconds limit) { return std::max(limit / kSignsInLimit, milliseconds(1)); }

void sendSign() { notifyServiceManager("WATCHDOG=1"); }

}  // namespace

std::optional<milliseconds> watchdogLimit() {
  const std::int64_t process = numberInEnvironment("WATCHDOG_PID");
  const milliseconds limit(numberInEnvironment("WATCHDOG_USEC") / 1000);
  if (limit <= milliseconds(0) || (process != 0 && process != ::getpid())) return std::nullopt;
  return limit;
}

void reportProgress() {
  static const std::optional<milliseconds> kLimit = watchdogLimit();
  static std::atomic<std::chrono::steady_clock::time_point> last{};
  if (!kLimit) return;
  const auto now = std::chrono::steady_clock::now();
  if (now - last.load() < intervalOf(*kLimit)) return;
  last = now;
  sendSign();
}

Watchdog::Watchdog(EventLoop& loop) {
  if (const auto limit = watchdogLimit()) timer_ = loop.callEvery(intervalOf(*limit), sendSign);
}

}  // namespace moxtel
