// Runs the server on its own thread, for a program whose main thread runs windows.
#pragma once

#include <functional>
#include <memory>
#include <thread>

#include "app/ServerStatus.h"
#include "console/MXSConsole.h"

namespace moxtel {

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
  // Stops the server as the destructor does, and starts it again with the settings as they are now. Does not
  // wait, so that a disk that does not answer keeps no window waiting. Actions that have not run yet are
  // dropped; later ones run after the start. Not while another thread uses the object.
  void restart();

 private:
  struct Run;  // of one server, from its start to its end
  void begin(std::thread previous);
  void askToEnd();
  void serve(Run& run);
  void reportStatus(ServerProgram& program);

  UserDefaults& defaults_;
  ConsoleView& view_;
  StatusChanged statusChanged_;
  std::shared_ptr<Run> run_;
  std::unique_ptr<ServerStatus> lastReported_;  // core thread
  std::thread thread_;
};

}  // namespace moxtel
