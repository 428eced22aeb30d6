// Turns signals of this process into calls on a Qt loop's thread.
//
// Made and destroyed on the thread that runs, or will run, the loop (CoreLoop, or the windows' application);
// one at a time in a process. Destroying it restores what the signals did before. A signal that comes while
// one of the same number has not been told yet may be told once.
#pragma once

#include <functional>
#include <memory>
#include <vector>

namespace moxtel {

class SignalWatcher final {
 public:
  // The signals that a server heeds: to end (SIGTERM, SIGINT), and SIGHUP and SIGUSR1.
  static std::vector<int> usualSignals();

  // told is called on the loop's thread. atOnce, when given, hears each signal before that, on a thread of
  // its own: what must not wait for a loop that is busy.
  SignalWatcher(const std::vector<int>& signals, std::function<void(int signal)> told,
                std::function<void(int signal)> atOnce = {});
  ~SignalWatcher();
  SignalWatcher(const SignalWatcher&) = delete;
  SignalWatcher& operator=(const SignalWatcher&) = delete;

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace moxtel
