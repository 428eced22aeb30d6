// The two back ends over Avahi: what to do about name conflicts, unanswered look-ups, and services that are
// seen on several interfaces. On the thread of its loop, as DnsSd.h says; nothing here blocks for longer than
// Avahi does (its client waits for the daemon's answers), so neither belongs on the core thread.
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
  // As makeAvahiClientEngine and makeAvahiEmbeddedEngine, with their loop bound.
  using MakeEngine =
      std::function<std::unique_ptr<AvahiEngine>(AvahiEngine::StateChanged changed, std::string& reason)>;

  // Borrows the loop. backEnd: who publishes, for people.
  AvahiDnsSd(EventLoop& loop, std::string backEnd, const MakeEngine& makeEngine, AvailabilityChanged changed);
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
  using State = AvahiEngine::State;

  void engineChanged(State state, const std::string& reason);
  bool isRunning() const { return state_ == State::Running; }
  bool canLookUp() const { return state_ == State::Running || state_ == State::Registering; }

  EventLoop& loop_;
  const std::string backEnd_;
  AvailabilityChanged availabilityChanged_;
  State state_ = State::Connecting;
  std::string stateReason_;
  std::unique_ptr<AvahiEngine> engine_;
  std::set<Member*> members_;
  std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

// Back ends for ThreadedDnsSd. The client is the one that may report Gone at any time.
std::unique_ptr<DnsSd> makeAvahiClientDnsSd(AvahiLoop& loop, AvailabilityChanged changed);
std::unique_ptr<DnsSd> makeAvahiEmbeddedDnsSd(AvahiLoop& loop, AvailabilityChanged changed);

}  // namespace moxtel
