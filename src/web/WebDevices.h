// The devices that look at the page at present: those that requested something in the last minutes. Any
// thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "web/WebStatus.h"

namespace moxtel {

class WebDevices final {
 public:
  static constexpr std::chrono::minutes kPresence{5};  // after the last request
  // A device is known by its address. Beyond this many, the one that was silent for longest is left out.
  static constexpr std::size_t kMostDevices = 64;

  using Moment = std::chrono::system_clock::time_point;
  explicit WebDevices(std::function<Moment()> now = [] { return std::chrono::system_clock::now(); })
      : now_(std::move(now)) {}

  // A request that was admitted. The library is the id in its address; empty: of no library.
  void note(const std::string& address, const std::string& library);
  // Sends all away.
  void clear();
  // The present ones, by their first request.
  std::vector<WebDevice> present();

 private:
  struct Visit {
    Moment since;
    Moment last;
    std::string library;
  };

  const std::function<Moment()> now_;
  std::mutex mutex_;  // for what follows
  std::map<std::string, Visit> visits_;
};

}  // namespace moxtel
