// Runs the server on its own thread, for a program whose main thread runs windows.
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
  // Called on the core thread when the status has changed. The status is checked once a second and after each
  // action.
  using StatusChanged = std::function<void(const ServerStatus&)>;
  using Action = std::function<void(ServerProgram&)>;

  // Starts the thread and the server. Borrows defaults and view; the view is called on the core thread.
  CoreThread(UserDefaults& defaults, ConsoleView& view, StatusChanged statusChanged);
  // Stops the server, and a running script with it, and waits until the thread has ended.
  ~CoreThread();
  CoreThread(const CoreThread&) = delete;
  CoreThread& operator=(const CoreThread&) = delete;

  // Queues an action for the core thread. Any thread; never waits.
  void post(Action action);
  // Stops the server as the destructor does, and starts it again with the settings as they are now. Actions
  // that have not run yet are dropped. Not while another thread uses the object.
  void restart();

 private:
  void begin();
  void end();
  void run();
  void setProgram(ServerProgram* program);
  void reportStatus(ServerProgram& program);

  UserDefaults& defaults_;
  ConsoleView& view_;
  StatusChanged statusChanged_;
  std::unique_ptr<CoreLoop> loop_;
  std::mutex endMutex_;
  bool ending_ = false;  // guarded by endMutex_
  // Written on the core thread under endMutex_. The core thread reads it without the mutex.
  ServerProgram* program_ = nullptr;
  std::unique_ptr<ServerStatus> lastReported_;  // core thread
  std::thread thread_;
};

}  // namespace moxtel
