// An engine on its own thread: a long task of the caller's loop does not stall the engine, and a daemon that
// does not answer does not stall the caller.
//
// Every destructor is bounded: a thread that is blocked inside Avahi is detached. It ends when Avahi returns,
// and does not touch the caller's objects any more.
#pragma once

#include <functional>
#include <memory>
#include <thread>

#include "dnssd/AvahiEngine.h"
#include "dnssd/AvahiLoop.h"
#include "platform/loop/EventLoop.h"

namespace moxtel {

class ThreadedAvahiEngine final : public AvahiEngine {
 public:
  // Called once, on the new thread. The function may be called from within the call.
  using Make = std::function<std::unique_ptr<AvahiEngine>(AvahiLoop& loop, StateChanged changed)>;

  // Borrows the caller's loop, on whose thread this lives and calls its functions. patience: how long
  // destroying this, or a service, waits at most. Throws std::system_error without a thread or descriptor.
  ThreadedAvahiEngine(EventLoop& home, Make make, StateChanged changed, EventLoop::Duration patience);
  ~ThreadedAvahiEngine() override;
  ThreadedAvahiEngine(const ThreadedAvahiEngine&) = delete;
  ThreadedAvahiEngine& operator=(const ThreadedAvahiEngine&) = delete;

  // Destroying a service returns when its goodbye is sent.
  Operation start(const AvahiRequest& request, Happened happened) override;

 private:
  struct Inside;
  class Remote;

  const EventLoop::Duration patience_;
  const std::shared_ptr<StateChanged> changed_;
  const std::shared_ptr<Inside> inside_;
  std::thread thread_;
};

}  // namespace moxtel
