#include "web/http/LoginLimiter.h"

#include <algorithm>

namespace moxtel {

bool LoginLimiter::mayTry(const std::string& address, Moment now) {
  while (!wrong_.empty() && now - wrong_.front().at >= std::chrono::hours(1)) wrong_.pop_front();
  if (wrong_.size() >= kTriesPerHour) return false;
  const auto recent = std::ranges::count_if(wrong_, [&](const Try& each) {
    return each.address == address && now - each.at < std::chrono::minutes(1);
  });
  return static_cast<std::size_t>(recent) < kTriesPerMinute;
}

void LoginLimiter::wasWrong(std::string address, Moment now) {
  wrong_.push_back({now, std::move(address)});
  if (wrong_.size() > kTriesPerHour) wrong_.pop_front();
}

}  // namespace moxtel
