// DNS-SD by Avahi: by the machine's daemon where one answers, otherwise by the responder inside this process.
// When the daemon starts or stops, everything is published, browsed for and resolved again on the other
// engine.
//
// The responder is made when it is needed and destroyed when the daemon takes over: two responders can
// run on one machine, but only one of them receives unicast answers. A service is withdrawn from one engine
// before it is published by the other, or the two publications would conflict.
#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>

#include "dnssd/AvahiEngine.h"
#include "dnssd/DnsSd.h"

namespace moxtel {

class AvahiDnsSd final : public DnsSd {
 public:
  // The engine calls the function on a later turn of the loop, and not once it is destroyed.
  using MakeEngine = std::function<std::unique_ptr<AvahiEngine>(AvahiEngine::StateChanged changed)>;

  // Borrows the loop, on whose thread all of this lives. One of the two functions may be empty: then only the
  // other engine is used.
  AvahiDnsSd(EventLoop& loop, MakeEngine makeDaemon, MakeEngine makeResponder);
  ~AvahiDnsSd() override;
  AvahiDnsSd(const AvahiDnsSd&) = delete;
  AvahiDnsSd& operator=(const AvahiDnsSd&) = delete;

  std::unique_ptr<Publication> publish(const ServiceDescription& service,
                                       PublicationChanged changed) override;
  std::unique_ptr<Browser> browse(const std::string& type, BrowserEvents events) override;
  std::unique_ptr<Resolution> resolve(const std::string& name, const std::string& type,
                                      EventLoop::Duration timeout, ResolveEvents events) override;

 private:
  class Member;
  class AvahiPublication;
  class AvahiBrowser;
  class AvahiResolution;
  struct BackEnd {
    std::string name;  // for people
    MakeEngine make;
    std::unique_ptr<AvahiEngine> engine;
  };

  void startDaemon();
  void startResponder();
  void start(BackEnd& backEnd, void (AvahiDnsSd::*changed)(const AvahiState&));
  void daemonChanged(const AvahiState& state);
  void daemonLost(const AvahiState& state);
  void responderChanged(const AvahiState& state);
  void use(BackEnd* backEnd, const AvahiState& state);
  bool canPublish() const { return active_ && state_.kind == AvahiState::Kind::Running; }

  EventLoop& loop_;
  BackEnd daemon_;
  BackEnd responder_;
  BackEnd* active_ = nullptr;    // daemon_, responder_ or none
  AvahiState state_;             // of the active engine; while there is none, of the last one
  bool waitsForDaemon_ = false;  // the daemon was lost and may be restarting
  std::set<Member*> members_;
  std::unique_ptr<Timer> retryDaemon_;
  std::unique_ptr<Timer> fallBack_;  // to the responder
};

}  // namespace moxtel
