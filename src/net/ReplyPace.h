// Whether a client takes a reply too slowly. A plain object without a clock of its own, one for each reply.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>

namespace moxtel {

class ReplyPace final {
 public:
  using Moment = std::chrono::steady_clock::time_point;
  struct Limits {
    std::uint64_t bytesPerSecond = std::uint64_t{16} * 1024;
    std::chrono::milliseconds period{30'000};
  };

  // The reply begins now.
  ReplyPace(const Limits& limits, Moment now) : limits_(limits), samples_{{now, 0}} {}

  // Whether the client took fewer bytes than the limit over the last period, given the number of the reply's
  // bytes that it has taken by now. Never true in a reply's first period. Call with times and numbers that do
  // not decrease.
  bool isTooSlow(Moment now, std::uint64_t taken);

 private:
  struct Sample {
    Moment at;
    std::uint64_t taken = 0;
  };
  const Limits limits_;
  std::deque<Sample> samples_;  // the first is the last one from before the period, if there is one
};

}  // namespace moxtel
