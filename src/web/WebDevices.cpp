#include "web/WebDevices.h"

#include <algorithm>

namespace moxtel {

namespace {

std::int64_t secondsSince1970(WebDevices::Moment moment) {
  return std::chrono::duration_cast<std::chrono::seconds>(moment.time_since_epoch()).count();
}

}  // namespace

void WebDevices::note(const std::string& address, const std::string& library) {
  const Moment now = now_();
  const std::lock_guard lock(mutex_);
  const auto known = visits_.find(address);
  if (known != visits_.end() && now - known->second.last <= kPresence) {
    known->second.last = now;
    if (!library.empty()) known->second.library = library;
    return;
  }
  visits_[address] = {now, now, library};
  if (visits_.size() <= kMostDevices) return;
  visits_.erase(std::ranges::min_element(visits_, {}, [](const auto& each) { return each.second.last; }));
}

void WebDevices::clear() {
  const std::lock_guard lock(mutex_);
  visits_.clear();
}

std::vector<WebDevice> WebDevices::present() {
  const std::lock_guard lock(mutex_);
  const Moment now = now_();
  std::erase_if(visits_, [&](const auto& each) { return now - each.second.last > kPresence; });
  std::vector<WebDevice> devices;
  for (const auto& [address, visit] : visits_)
    devices.push_back({address, visit.library, secondsSince1970(visit.since)});
  std::ranges::stable_sort(devices, {}, &WebDevice::since);
  return devices;
}

}  // namespace moxtel
