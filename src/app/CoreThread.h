// The server on a thread of its own, for a program whose first thread belongs to windows.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "app/ServerStatus.h"
#include "console/MXSConsole.h"
#include "platform/loop/EventLoop.h"

namespace moxtel {

class CoreLoop;
class ServerProgram;
class UserDefaults;

class CoreThread final {
 public:
  // Called on the core thread, whenever the status has changed; looked at once a second and after each
  // action.
  using StatusChanged = std::function<void(const ServerStatus&)>;
  using Action = std::function<void(ServerProgram&)>;

  // Starts the thread, and the server on it. Borrows defaults and view; the view is called on the core
  // thread.
  CoreThread(UserDefaults& defaults, ConsoleView& view, StatusChanged statusChanged);
  // Ends the server and waits for it; a script that runs is stopped.
  ~CoreThread();
  CoreThread(const CoreThread&) = delete;
  CoreThread& operator=(const CoreThread&) = delete;

  // Runs an action on the core thread, later. Any thread; never waits.
  void post(Action action);

 private:
  void run(UserDefaults& defaults, ConsoleView& view);
  void setProgram(ServerProgram* program);
  void tellStatus(ServerProgram& program);

  StatusChanged statusChanged_;
  std::unique_ptr<CoreLoop> loop_;
  std::mutex endMutex_;
  bool ending_ = false;                 // guarded by endMutex_
  ServerProgram* program_ = nullptr;    // set on the core thread, under endMutex_; read there without it
  std::unique_ptr<ServerStatus> told_;  // core thread
  std::thread thread_;
};

}  // namespace moxtel
