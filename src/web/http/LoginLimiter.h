// Limits wrong tries to log in: those from one address in a minute, and all in an hour. A plain
// object without a clock of its own; call with times that do not decrease.
#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <string>

namespace moxtel {

class LoginLimiter final {
 public:
  using Moment = std::chrono::steady_clock::time_point;
  static constexpr std::size_t kTriesPerMinute = 10;
  static constexpr std::size_t kTriesPerHour = 100;

  // Whether the address may try now.
  bool mayTry(const std::string& address, Moment now);
  // A try was wrong. At most kTriesPerHour are kept.
  void wasWrong(std::string address, Moment now);

 private:
  struct Try {
    Moment at;
    std::string address;
  };
  std::deque<Try> wrong_;  // of the last hour
};

}  // namespace moxtel
