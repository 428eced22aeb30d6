// Turns signals of this process into calls on the thread of a loop.
//
// Made and destroyed on the thread that runs, or will run, the loop; one at a time in a process. Destroying
// it restores what the signals did before, and nothing is called afterwards. A signal that comes while one of
// the same number has not been told yet may be told once.
#pragma once

#include <functional>
#include <memory>
#include <vector>

namespace moxtel {

class SignalWatcher final {
 public:
  // The signals that a server heeds: to end (SIGTERM, SIGINT), and SIGHUP and SIGUSR1.
  static std::vector<int> usualSignals();

  // Has a call run on the loop's thread, later. Called on a thread of the watcher's own; the call may be
  // dropped where the loop has ended.
  using Hop = std::function<void(std::function<void()> call)>;

  // told is called on the loop's thread. atOnce, when given, hears each signal before that, on a thread of
  // its own: what must not wait for a loop that is busy.
  SignalWatcher(const std::vector<int>& signals, Hop hop, std::function<void(int signal)> told,
                std::function<void(int signal)> atOnce = {});
  ~SignalWatcher();
  SignalWatcher(const SignalWatcher&) = delete;
  SignalWatcher& operator=(const SignalWatcher&) = delete;

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace moxtel
