// What several readers of one library need and one can make for all of them: a private copy of a database, a
// database filled from another file, tables that views need. It is made once for each state of the files, and
// removed with its last user. Readers of an older state keep theirs until they open the next one.
//
// What is made is only read after that, by any thread. Any thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace moxtel {

template <class Made>
class SharedByReaders final {
 public:
  using Pointer = std::shared_ptr<const Made>;

  // For a key, which names the file: what was made last, if somebody still uses it and it fits; else what
  // make() returns. Waits while another thread makes something for this key. Null if isEnding() is true
  // meanwhile. fits() must not wait: it is called under a lock.
  Pointer take(const std::string& key, const std::function<bool(const Made&)>& fits,
               const std::function<Pointer()>& make, const std::function<bool()>& isEnding) {
    constexpr std::chrono::milliseconds kStep{50};
    Pointer found;  // released after the lock
    std::unique_lock lock(mutex_);
    for (;;) {
      Entry& entry = entries_[key];
      found = entry.made.lock();
      if (found && fits(*found)) return found;
      if (!entry.isBeingMade) break;
      done_.wait_for(lock, kStep);
      if (isEnding()) return nullptr;
    }
    const Making making(*this, lock, key);
    found.reset();  // what does not fit may be large
    return making.finish(make());
  }

  // How often something was made.
  std::size_t timesMade() const {
    const std::lock_guard lock(mutex_);
    return timesMade_;
  }

 private:
  struct Entry {
    std::weak_ptr<const Made> made;
    bool isBeingMade = false;
  };

  // Leaves the lock while something is made, and ends that also when it throws.
  class Making final {
   public:
    Making(SharedByReaders& all, std::unique_lock<std::mutex>& lock, const std::string& key)
        : all_(all), lock_(lock), key_(key) {
      all_.entries_[key_].isBeingMade = true;
      ++all_.timesMade_;
      lock_.unlock();
    }
    ~Making() {
      if (!lock_.owns_lock()) lock_.lock();
      all_.entries_[key_].isBeingMade = false;
      std::erase_if(all_.entries_,
                    [](const auto& each) { return !each.second.isBeingMade && each.second.made.expired(); });
      all_.done_.notify_all();
    }
    Making(const Making&) = delete;
    Making& operator=(const Making&) = delete;

    Pointer finish(Pointer made) const {
      lock_.lock();
      all_.entries_[key_].made = made;
      return made;
    }

   private:
    SharedByReaders& all_;
    std::unique_lock<std::mutex>& lock_;
    const std::string& key_;
  };

  mutable std::mutex mutex_;
  std::condition_variable done_;
  std::map<std::string, Entry> entries_;
  std::size_t timesMade_ = 0;
};

}  // namespace moxtel
