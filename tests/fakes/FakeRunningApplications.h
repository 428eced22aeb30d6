// Running applications for tests: those that the test sets.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/applications/RunningApplications.h"

namespace moxtel {

class FakeRunningApplications final : public RunningApplications {
 public:
  explicit FakeRunningApplications(std::vector<std::string> names = {}) : names_(std::move(names)) {}
  std::vector<std::string> names() override {
    ++asked_;
    return names_;
  }
  void awaitFirstAnswer(std::chrono::milliseconds longest, const std::function<void()>& onWait) override {
    if (onAwait) onAwait(longest, onWait);
  }
  std::function<void(std::chrono::milliseconds, const std::function<void()>&)> onAwait;
  void set(std::vector<std::string> names) { names_ = std::move(names); }
  int asked() const { return asked_; }

 private:
  std::vector<std::string> names_;
  int asked_ = 0;
};

}  // namespace moxtel
