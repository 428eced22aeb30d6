#include "platform/loop/NotificationCenter.h"

#include <vector>

namespace moxtel {

NotificationCenter::Token NotificationCenter::addObserver(std::string_view name, Observer observer) {
  const std::lock_guard lock(mutex_);
  const Token token = next_++;
  observers_.emplace(token, Registration{std::string(name), std::make_shared<Observer>(std::move(observer))});
  return token;
}

void NotificationCenter::removeObserver(Token token) {
  const std::lock_guard lock(mutex_);
  observers_.erase(token);
}

void NotificationCenter::post(std::string_view name, const void* object, Value userInfo) {
  // Observers run without the lock: they may post, observe or wait for the core thread.
  std::vector<std::shared_ptr<Observer>> called;
  {
    const std::lock_guard lock(mutex_);
    for (const auto& [token, registration] : observers_) {
      if (registration.name == name) called.push_back(registration.observer);
    }
  }
  const Notification notification{std::string(name), object, std::move(userInfo)};
  for (const auto& observer : called) (*observer)(notification);
}

}  // namespace moxtel
