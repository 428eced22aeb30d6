// A back end on a thread of its own, so that neither a long task of the caller's loop stalls it nor a daemon
// that does not answer stalls the caller. What is asked hops to that thread, what is told hops back.
//
// Every destructor here is bounded: a thread that is stuck in Avahi is left to itself, to end when it gets
// free, and touches nothing of the caller's any more.
#pragma once

#include <functional>
#include <memory>
#include <thread>

#include "dnssd/AvahiLoop.h"
#include "dnssd/DnsSd.h"

namespace moxtel {

class ThreadedDnsSd final : public DnsSd {
 public:
  // Called once, on the new thread.
  using MakeBackEnd = std::function<std::unique_ptr<DnsSd>(AvahiLoop& loop, AvailabilityChanged changed)>;

  // Borrows the loop of the caller, on whose thread this lives and tells. patience: the most that destroying
  // this, or a publication, waits.
  ThreadedDnsSd(EventLoop& loop, MakeBackEnd makeBackEnd, AvailabilityChanged changed,
                EventLoop::Duration patience);
  ~ThreadedDnsSd() override;
  ThreadedDnsSd(const ThreadedDnsSd&) = delete;
  ThreadedDnsSd& operator=(const ThreadedDnsSd&) = delete;

  std::unique_ptr<Publication> publish(const ServiceDescription& service,
                                       PublicationChanged changed) override;
  std::unique_ptr<Browser> browse(const std::string& type, BrowserEvents events) override;
  std::unique_ptr<Resolution> resolve(const std::string& name, const std::string& type,
                                      EventLoop::Duration timeout, ResolveEvents events) override;

 private:
  struct Inside;
  class WayBack;
  template <class Object>
  class Remote;
  class ThreadedPublication;
  class ThreadedBrowser;
  class ThreadedResolution;

  const EventLoop::Duration patience_;
  // Functions are held once, by what the caller destroys; the thread holds weak pointers that only the
  // caller's thread follows, so a function neither outlives its object nor is destroyed elsewhere.
  std::shared_ptr<AvailabilityChanged> changed_;
  std::shared_ptr<WayBack> wayBack_;
  std::shared_ptr<Inside> inside_;
  std::thread thread_;
};

}  // namespace moxtel
