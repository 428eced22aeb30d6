#include "scripting/ScriptQueue.h"

#include <algorithm>

#include "library/Messages.h"
#include "platform/loop/EventLoop.h"
#include "platform/system/SystemLog.h"
#include "scripting/ScriptErrors.h"
#include "support/Localization.h"
#include "support/QVAppSupport.h"
#include "value/Format.h"

namespace moxtel {

namespace {

constexpr const char* kStartScript = "tell application \"iPhoto\"\n  activate\nend tell\n\n";
constexpr const char* kWriteScript =
    "set aTempName to \"_MoxtelServer_\"\n"
    "tell application \"System Events\" to set visible of application process \"iPhoto\" to false\n"
    "\n"
    "tell application \"iPhoto\"\n"
    "  new album name aTempName\n"
    "  remove album aTempName\n"
    "  activate\n"
    "end tell";

}  // namespace

ScriptQueue::ScriptQueue(EventLoop& loop, ScriptRunner& runner, Messages& messages,
                         const PhotoApplicationFlags& flags, RunningApplications& applications,
                         QVAppSupport& support)
    : loop_(loop),
      runner_(runner),
      messages_(messages),
      flags_(flags),
      applications_(applications),
      support_(support) {}

void ScriptQueue::performCachedApplescript(std::optional<std::string> source) {
  if (!source) return;
  {
    const std::lock_guard lock(stackLock_);
    applescriptStack_.push_back(std::move(*source));
  }
  loop_.post([this] { performCachedApplescripts(); });
}

std::optional<std::string> ScriptQueue::takeFirst() {
  const std::lock_guard lock(stackLock_);
  if (applescriptStack_.empty()) return std::nullopt;
  std::string first = std::move(applescriptStack_.front());
  applescriptStack_.pop_front();
  return first;
}

// One call drains the queue; the calls scheduled meanwhile find it empty.
void ScriptQueue::performCachedApplescripts() {
  while (const auto source = takeFirst()) {
    // Each script is a command of its own: the next one is run after one that timed out.
    runner_.beginCommand(std::nullopt);
    perform(*source);
  }
}

void ScriptQueue::perform(const std::string& source) {
  const ScriptOutcome outcome = runner_.run(source);
  if (outcome.succeeded) return;
  if (outcome.error.failure != ScriptFailure::NoInterpreter) {
    logScriptDidNotCompile(source, outcome.error);
    writeSystemLog(format("executed AppleScript, eventDesc: %@, errorDict: %@", Value(),
                          errorDictionary(outcome.error)));
  }
  // The client has received a success reply already, and users do not read the log.
  if (outcome.error.failure != ScriptFailure::OfTheScript) {
    messages_.showTitle(
        "Error", UserText::tr("Not done in the photo application: ") + localizedReason(outcome.error.text));
  }
}

void ScriptQueue::forceIPhotoStart() {
  if (!flags_.connectedWithIPhoto) {
    NSLog("!ConnectedWithIPhoto: %s", "forceIPhotoStart");
    return;
  }
  messages_.showTitle("Info", "Starting iPhoto...");
  performCachedApplescript(kStartScript);
  // At once: the message follows the queueing, not the result.
  messages_.showTitle("Info", "Started iPhoto");
}

void ScriptQueue::forceIPhotoWrite() {
  if (!flags_.connectedWithIPhoto) {
    NSLog("!ConnectedWithIPhoto: %s", "forceIPhotoWrite");
    return;
  }
  messages_.showTitle("Info", "Reload iPhoto's data");
  performCachedApplescript(kWriteScript);
}

bool ScriptQueue::iPhotoIsRunning() {
  // On older systems the version chose between two ways of asking. It is still read because its first reading
  // is logged.
  static_cast<void>(support_.OSVersion());
  const auto names = applications_.names();
  return std::find(names.begin(), names.end(), "iPhoto") != names.end();
}

}  // namespace moxtel
