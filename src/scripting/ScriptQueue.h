// The queue of scripts that change something in the photo application: they run one after another on the core
// thread, in the order in which they were queued, and their results are only logged. Also starts iPhoto, or
// makes it write its data.
#pragma once

#include <deque>
#include <mutex>
#include <optional>
#include <string>

#include "library/PhotoApplicationFlags.h"
#include "platform/applications/RunningApplications.h"
#include "platform/applications/ScriptRunner.h"

namespace moxtel {

class EventLoop;
class Messages;
class QVAppSupport;

class ScriptQueue final {
 public:
  // Borrows everything.
  ScriptQueue(EventLoop& loop, ScriptRunner& runner, Messages& messages, const PhotoApplicationFlags& flags,
              RunningApplications& applications, QVAppSupport& support);

  // Queues a script and returns at once; it runs on a later turn of the core loop. No text does nothing. Any
  // thread.
  void performCachedApplescript(std::optional<std::string> source);
  // Runs what is queued until nothing is. Core thread.
  void performCachedApplescripts();

  // Does nothing unless iPhoto is known to run, contrary to its name; kept because clients expect it.
  void forceIPhotoStart();
  void forceIPhotoWrite();  // kept for completeness: nothing calls it
  // Whether the application with the bundle identifier "com.apple.iPhoto" runs: the process named iPhoto.
  bool iPhotoIsRunning();

 private:
  std::optional<std::string> takeFirst();
  void perform(const std::string& source);

  EventLoop& loop_;
  ScriptRunner& runner_;
  Messages& messages_;
  const PhotoApplicationFlags& flags_;
  RunningApplications& applications_;
  QVAppSupport& support_;
  std::mutex stackLock_;
  std::deque<std::string> applescriptStack_;  // first in, first out; guarded by stackLock_
};

}  // namespace moxtel
