// A server from its parts: the machine's processes, scripts, discovery and clock, the console and the
// delegate. What the desktop program and the daemon have in common. Lives on the core thread.
#pragma once

#include <memory>

#include "app/MXPAppDelegate.h"
#include "console/MXSConsole.h"
#include "platform/applications/ScriptRunner.h"
#include "platform/loop/NotificationCenter.h"
#include "platform/process/ChildProcess.h"

namespace moxtel {

class CoreLoop;

class ServerProgram final {
 public:
  // Borrows all three; the loop has a thread already, or this is the one that will run it. The view sees
  // every line of the console from its banner on.
  ServerProgram(CoreLoop& loop, UserDefaults& defaults, ConsoleView& view);
  ~ServerProgram();
  ServerProgram(const ServerProgram&) = delete;
  ServerProgram& operator=(const ServerProgram&) = delete;

  // Locates the library and begins to serve.
  void start();
  // Before the loop is asked to end: stops a script that runs and those that would follow it, so that nobody
  // waits for them. Any thread.
  void endScripts() { scripts_->end(); }
  MXPAppDelegate& delegate() { return *delegate_; }
  MXSConsole& console() { return console_; }

 private:
  SystemProcessRunner processes_;
  NotificationCenter notifications_;
  MXSConsole console_;
  ConsoleView& view_;
  std::unique_ptr<ScriptRunner> scripts_;
  std::unique_ptr<RunningApplications> localApplications_;
  std::unique_ptr<RunningApplications> applications_;
  std::unique_ptr<DnsSd> discovery_;
  std::unique_ptr<MXPAppDelegate> delegate_;
};

}  // namespace moxtel
