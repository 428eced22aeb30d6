// The server without its user interface: connects the delegate and the console with the operating system's
// processes, scripts and service discovery. The desktop program and the daemon both use it. Lives on the core
// thread.
#pragma once

#include <cstdint>
#include <memory>

#include "app/MXPAppDelegate.h"
#include "console/MXSConsole.h"
#include "platform/applications/ScriptRunner.h"
#include "platform/loop/NotificationCenter.h"
#include "platform/process/ChildProcess.h"

namespace moxtel {

// Enough for a socket and a file of each of the page's 1,024 connections; see allowDescriptors().
constexpr std::uint64_t kDescriptorsOfServer = 4096;

class CoreLoop;
class WebServer;

class ServerProgram final {
 public:
  // Borrows all three. Construct on the thread that runs the loop, or will run it. The view gets every line
  // of the console, from the banner on.
  ServerProgram(CoreLoop& loop, UserDefaults& defaults, ConsoleView& view);
  ~ServerProgram();
  ServerProgram(const ServerProgram&) = delete;
  ServerProgram& operator=(const ServerProgram&) = delete;

  // Finds the library, listens and publishes the server.
  void start();
  // Stops the running script and helper program and rejects later scripts, and ends what takes long, so that
  // the loop can quit without waiting for them or for the names of running applications. Any thread; call it
  // before the loop's quit.
  void endWork();
  MXPAppDelegate& delegate() { return *delegate_; }
  // The state of the server and of the page for browsers.
  ServerStatus status();
  // Sends every device of the page away and makes another key.
  void renewWebKey();
  // Reads the library again and disconnects the handheld. Listens again, for clients and for browsers, where
  // the last attempt failed.
  void reload();
  // Stores who may look at the page, as in the setting "WebAccess", and starts the page again. If the
  // settings allow no page, its usual port is used.
  void setWebAccess(const std::string& access);

 private:
  void startWeb();
  void reportLinesLeftOut(AtEnd atEnd);

  CoreLoop& loop_;
  UserDefaults& defaults_;
  SystemProcessRunner processes_;
  NotificationCenter notifications_;
  MXSConsole console_;
  ConsoleView& view_;
  std::unique_ptr<ScriptRunner> scripts_;
  std::unique_ptr<RunningApplications> localApplications_;
  std::unique_ptr<RunningApplications> applications_;
  std::unique_ptr<DnsSd> discovery_;
  std::unique_ptr<MXPAppDelegate> delegate_;
  std::unique_ptr<WebServer> web_;  // null: there is no page
  std::unique_ptr<Timer> notesTimer_;
};

}  // namespace moxtel
