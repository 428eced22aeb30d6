// Uses the daemon where one answers, otherwise the responder inside this process, and moves between the two
// when the daemon goes or comes; what was published, browsed for or being resolved moves along.
//
// The responder is made only when it is needed, and ended when the daemon takes over: two responders on one
// machine get along, but only one hears unicast answers. A service is withdrawn on the one side before it is
// published on the other, or it would be in conflict with itself.
#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>

#include "dnssd/DnsSd.h"

namespace moxtel {

class SwitchingDnsSd final : public DnsSd {
 public:
  using MakeBackEnd = std::function<std::unique_ptr<DnsSd>(AvailabilityChanged changed)>;

  struct Bounds {
    EventLoop::Duration firstAnswer{1000};  // a daemon that does not say a word counts as none after this
    EventLoop::Duration comeBack{2000};     // a daemon that went away is waited for, as in a restart of it
    EventLoop::Duration retryLost{200};     // a new client after the old one was cut off
    EventLoop::Duration retry{5000};        // a new client, or responder, where there was none
    EventLoop::Duration settle{5000};       // after a move, services not seen again by then count as gone
  };

  // Borrows the loop, on whose thread all this lives.
  SwitchingDnsSd(EventLoop& loop, MakeBackEnd makeDaemon, MakeBackEnd makeEmbedded, Bounds bounds);
  ~SwitchingDnsSd() override;
  SwitchingDnsSd(const SwitchingDnsSd&) = delete;
  SwitchingDnsSd& operator=(const SwitchingDnsSd&) = delete;

  std::unique_ptr<Publication> publish(const ServiceDescription& service,
                                       PublicationChanged changed) override;
  std::unique_ptr<Browser> browse(const std::string& type, BrowserEvents events) override;
  std::unique_ptr<Resolution> resolve(const std::string& name, const std::string& type,
                                      EventLoop::Duration timeout, ResolveEvents events) override;

 private:
  class Member;
  class SwitchingPublication;
  class SwitchingBrowser;
  class SwitchingResolution;

  void startDaemon();
  void daemonChanged(const Availability& availability);
  void leaveDaemon(const std::string& reason);
  void useEmbedded();
  void embeddedChanged(const Availability& availability);
  void moveTo(DnsSd* backEnd, const std::string& reason);

  EventLoop& loop_;
  const MakeBackEnd makeDaemon_;
  const MakeBackEnd makeEmbedded_;
  const Bounds bounds_;
  std::set<Member*> members_;
  std::unique_ptr<DnsSd> daemon_;
  std::unique_ptr<DnsSd> embedded_;
  DnsSd* active_ = nullptr;  // daemon_, embedded_ or none
  bool lost_ = false;        // the daemon served before, and the responder has not taken over yet
  std::unique_ptr<Timer> retryDaemon_;
  std::unique_ptr<Timer> fallBack_;
};

}  // namespace moxtel
