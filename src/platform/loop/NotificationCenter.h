// Posts notifications to the observers of a name. Observers run on the thread that posts, in the order of
// registration, before post() returns.
//
// Any thread. An observer may add and remove observers. Removing one does not wait: an observer that
// is running on another thread runs to its end.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "value/Value.h"

namespace moxtel {

struct Notification {
  std::string name;
  const void* object = nullptr;  // the sender; compared only
  Value userInfo;                // a dictionary, or nil when there is none
};

class NotificationCenter final {
 public:
  using Observer = std::function<void(const Notification&)>;
  using Token = std::uint64_t;

  // Observes a name, from every sender.
  Token addObserver(std::string_view name, Observer observer);
  void removeObserver(Token token);
  void post(std::string_view name, const void* object, Value userInfo);

 private:
  struct Registration {
    std::string name;
    std::shared_ptr<Observer> observer;
  };
  std::mutex mutex_;
  std::map<Token, Registration> observers_;
  Token next_ = 1;
};

}  // namespace moxtel
