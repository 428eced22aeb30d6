// Turns signals of this process into calls on the thread of a loop.
//
// Made and destroyed on the thread that runs, or will run, the loop; one at a time in a process. Destroying
// it restores the previous signal handling, and nothing is called afterwards. Signals of the same number that
// arrive before the first of them is delivered may be delivered as one.
#pragma once

#include <functional>
#include <memory>
#include <vector>

namespace moxtel {

class SignalWatcher final {
 public:
  // The signals that a server handles: SIGTERM and SIGINT, which end it, SIGHUP and SIGUSR1.
  static std::vector<int> usualSignals();

  // Posts a call to the loop's thread. Called on the watcher's own thread; the call may be dropped when the
  // loop has ended.
  using Post = std::function<void(std::function<void()> call)>;

  // handle is called on the loop's thread. handleAtOnce, if given, is called before that on the watcher's own
  // thread, for work that must not wait for a busy loop.
  SignalWatcher(const std::vector<int>& signals, Post post, std::function<void(int signal)> handle,
                std::function<void(int signal)> handleAtOnce = {});
  ~SignalWatcher();
  SignalWatcher(const SignalWatcher&) = delete;
  SignalWatcher& operator=(const SignalWatcher&) = delete;

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace moxtel
