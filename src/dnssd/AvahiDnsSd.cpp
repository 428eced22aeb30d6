#include "dnssd/AvahiDnsSd.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include "dnssd/ServiceNames.h"

namespace moxtel {

namespace {

using namespace std::chrono_literals;

// What failed is tried again after this; a fault that is there to stay then costs nothing to speak of.
constexpr EventLoop::Duration kRetryPublishing = 30s;
constexpr EventLoop::Duration kRetryBrowsing = 5s;
// What a new browser has not seen by then is gone.
constexpr EventLoop::Duration kSettled = 5s;
// Avahi gives up after about a second, sooner when there is no network yet.
constexpr EventLoop::Duration kRetryResolving = 200ms;
// A neighbour that claims every name gets ten answers, then one in five seconds.
constexpr int kQuickRenames = 10;
constexpr EventLoop::Duration kSlowRename = 5s;
// The look-ups for IPv4 that have to fail before a service counts as one that has IPv6 only.
constexpr int kEnoughIPv4Failures = 2;

}  // namespace

// What a DnsSd made and has to hear about the engine.
class AvahiDnsSd::Member {
 public:
  explicit Member(AvahiDnsSd& owner) : owner_(owner) { owner_.members_.insert(this); }
  virtual ~Member() { owner_.members_.erase(this); }
  Member(const Member&) = delete;
  Member& operator=(const Member&) = delete;
  // The engine changed, or (first call) this is new.
  virtual void update() = 0;

  // Never from within the call that made the member.
  void updateSoon() {
    soon_ = owner_.loop_.callAfter(0ms, [this] { update(); });
  }

 protected:
  AvahiDnsSd& owner_;
  std::unique_ptr<Timer> soon_;
};

class AvahiDnsSd::AvahiPublication final : public Publication, public Member {
 public:
  AvahiPublication(AvahiDnsSd& owner, const ServiceDescription& service, PublicationChanged changed)
      : Member(owner),
        wantedName_(publishableServiceName(service.name)),
        name_(wantedName_),
        type_(serviceTypeWithoutDot(service.type)),
        port_(service.port),
        changed_(std::move(changed)) {
    updateSoon();
  }

  void update() override {
    retry_.reset();
    if (owner_.isRunning()) {
      if (!service_) start();
    } else {
      service_.reset();
      tell(PublicationState::Kind::Pending, owner_.stateReason_);
    }
  }

 private:
  using State = AvahiServiceHandle::State;

  void start() {
    std::string reason;
    service_ = owner_.engine_->service(
        [this](State state, const std::string& why) { serviceChanged(state, why); }, reason);
    if (service_) {
      service_->add(name_, type_, port_);
    } else {
      fail(reason);
    }
  }

  void serviceChanged(State state, const std::string& reason) {
    switch (state) {
      case State::Established:
        return established();
      case State::Collision:
        return rename();
      case State::Failed:
        return fail(reason);
    }
  }

  void established() {
    tell(name_ == wantedName_ ? PublicationState::Kind::Published : PublicationState::Kind::Renamed,
         owner_.backEnd_);
  }

  void rename() {
    name_ = alternativeServiceName(name_);
    const auto addAgain = [this] { service_->add(name_, type_, port_); };
    if (++renames_ <= kQuickRenames) {
      addAgain();
    } else {
      retry_ = owner_.loop_.callAfter(kSlowRename, addAgain);
    }
  }

  void fail(const std::string& reason) {
    service_.reset();
    retry_ = owner_.loop_.callAfter(kRetryPublishing, [this] { update(); });
    tell(PublicationState::Kind::Failed, reason);
  }

  // Last in every operation: the function may destroy this.
  void tell(PublicationState::Kind kind, const std::string& detail) {
    PublicationState state{kind, name_, detail};
    if (state == told_) return;
    told_ = state;
    const PublicationChanged changed = changed_;
    if (changed) changed(state);
  }

  const std::string wantedName_;
  std::string name_;
  const std::string type_;
  const std::uint16_t port_;
  PublicationChanged changed_;
  PublicationState told_;
  int renames_ = 0;
  std::unique_ptr<AvahiServiceHandle> service_;
  std::unique_ptr<Timer> retry_;
};

class AvahiDnsSd::AvahiBrowser final : public Browser, public Member {
 public:
  AvahiBrowser(AvahiDnsSd& owner, const std::string& type, BrowserEvents events)
      : Member(owner), type_(serviceTypeWithoutDot(type)), events_(std::move(events)) {
    updateSoon();
  }

  void update() override {
    retry_.reset();
    if (!owner_.canLookUp() || handle_) return;
    std::string reason;
    handle_ = owner_.engine_->browse(
        type_, [this](const auto& sighting) { sighted(sighting); }, reason);
    if (!handle_) return retryLater();
    if (!unseen_.empty()) settled_ = owner_.loop_.callAfter(kSettled, [this] { forgetUnseen(); });
  }

 private:
  using Place = std::pair<int, int>;  // interface and protocol

  void sighted(const AvahiEngine::Sighting& sighting) {
    using Kind = AvahiEngine::Sighting::Kind;
    if (sighting.kind == Kind::Failed) return retryLater();
    const Place place{sighting.interface, sighting.protocol};
    if (sighting.kind == Kind::Seen) {
      auto& places = seen_[sighting.name];
      const bool isNew = places.empty();
      places.insert(place);
      if (isNew && unseen_.erase(sighting.name) == 0) tell(events_.found, sighting.name);
      return;
    }
    const auto seen = seen_.find(sighting.name);
    if (seen == seen_.end() || seen->second.erase(place) == 0 || !seen->second.empty()) return;
    seen_.erase(seen);
    tell(events_.removed, sighting.name);
  }

  // The function may destroy this, and what is kept of the function with it.
  static void tell(const std::function<void(const std::string&, bool)>& kept, const std::string& name) {
    const auto function = kept;
    if (function) function(name, false);
  }

  void retryLater() {
    handle_.reset();
    settled_.reset();
    for (const auto& [name, places] : seen_) unseen_.insert(name);
    seen_.clear();
    retry_ = owner_.loop_.callAfter(kRetryBrowsing, [this] { update(); });
  }

  void forgetUnseen() {
    const std::weak_ptr<int> alive = alive_;
    for (const std::string& name : std::exchange(unseen_, {})) {
      tell(events_.removed, name);
      if (alive.expired()) return;
    }
  }

  const std::string type_;
  BrowserEvents events_;
  std::map<std::string, std::set<Place>> seen_;
  std::set<std::string> unseen_;  // told before a failure, not seen since
  std::unique_ptr<AvahiHandle> handle_;
  std::unique_ptr<Timer> retry_;
  std::unique_ptr<Timer> settled_;
  std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

class AvahiDnsSd::AvahiResolution final : public Resolution, public Member {
 public:
  AvahiResolution(AvahiDnsSd& owner, const std::string& name, const std::string& type,
                  EventLoop::Duration timeout, ResolveEvents events)
      : Member(owner), type_(serviceTypeWithoutDot(type)), events_(std::move(events)) {
    result_.name = name;
    timeout_ = owner_.loop_.callAfter(timeout, [this] { timedOut(); });
    updateSoon();
  }

  void update() override {
    if (done_ || !owner_.canLookUp()) return;
    start(Family::IPv4, ipv4_);
    start(Family::IPv6, ipv6_);
  }

 private:
  using Family = AvahiEngine::Family;

  void start(Family family, std::unique_ptr<AvahiHandle>& handle) {
    if (handle) return;
    std::string reason;
    handle = owner_.engine_->resolve(
        result_.name, type_, family, [this, family](const auto& answer) { answered(family, answer); },
        reason);
    if (!handle) retryLater(reason);
  }

  void answered(Family family, const AvahiEngine::Answer& answer) {
    if (family == Family::IPv4) {
      answer.found ? finishWith(answer) : ipv4Failed(answer.reason);
    } else if (answer.found) {
      take(answer);
    } else {
      ipv6_.reset();
      retryLater(answer.reason);
    }
  }

  void take(const AvahiEngine::Answer& answer) {
    result_.hostName = answer.hostName;
    result_.port = answer.port;
    auto& known = result_.addresses;
    if (std::find(known.begin(), known.end(), answer.address) == known.end()) {
      known.push_back(answer.address);
    }
  }

  void finishWith(const AvahiEngine::Answer& answer) {
    std::vector<std::string> ipv6 = std::move(result_.addresses);
    result_.addresses.clear();
    take(answer);
    result_.addresses.insert(result_.addresses.end(), ipv6.begin(), ipv6.end());
    finish();
  }

  void ipv4Failed(const std::string& reason) {
    ipv4_.reset();
    if (++ipv4Failures_ >= kEnoughIPv4Failures && !result_.addresses.empty()) return finish();
    retryLater(reason);
  }

  void retryLater(const std::string& reason) {
    reason_ = reason;
    if (!retry_) {
      retry_ = owner_.loop_.callAfter(kRetryResolving, [this] {
        retry_.reset();
        update();
      });
    }
  }

  void timedOut() {
    if (!result_.addresses.empty()) return finish();
    end();
    const auto notResolved = events_.notResolved;
    const std::string reason = reason_.empty() ? "Timeout reached" : reason_;
    if (notResolved) notResolved(reason);
  }

  void finish() {
    end();
    const auto resolved = events_.resolved;
    const ResolvedService result = result_;
    if (resolved) resolved(result);
  }

  void end() {
    done_ = true;
    ipv4_.reset();
    ipv6_.reset();
    retry_.reset();
    timeout_.reset();
  }

  const std::string type_;
  ResolveEvents events_;
  ResolvedService result_;
  std::string reason_;
  int ipv4Failures_ = 0;
  bool done_ = false;
  std::unique_ptr<AvahiHandle> ipv4_;
  std::unique_ptr<AvahiHandle> ipv6_;
  std::unique_ptr<Timer> timeout_;
  std::unique_ptr<Timer> retry_;
};

AvahiDnsSd::AvahiDnsSd(EventLoop& loop, std::string backEnd, const MakeEngine& makeEngine,
                       AvailabilityChanged changed)
    : loop_(loop), backEnd_(std::move(backEnd)), availabilityChanged_(std::move(changed)) {
  std::string reason;
  engine_ = makeEngine([this](State state, const std::string& why) { engineChanged(state, why); }, reason);
  if (engine_) return;
  loop_.post([this, reason, alive = std::weak_ptr(alive_)] {
    if (alive.lock()) engineChanged(State::Failed, reason);
  });
}

AvahiDnsSd::~AvahiDnsSd() = default;

void AvahiDnsSd::engineChanged(State state, const std::string& reason) {
  state_ = state;
  stateReason_ = reason;
  const std::weak_ptr<int> alive = alive_;
  const std::set<Member*> members = members_;
  for (Member* const member : members) {
    if (alive.expired()) return;
    if (members_.contains(member)) member->update();
  }
  if (alive.expired()) return;
  const AvailabilityChanged changed = availabilityChanged_;
  const auto kind = state == State::Failed       ? Availability::Kind::Gone
                    : state == State::Connecting ? Availability::Kind::Waiting
                                                 : Availability::Kind::Available;
  if (changed) changed({kind, reason});
}

std::unique_ptr<Publication> AvahiDnsSd::publish(const ServiceDescription& service,
                                                 PublicationChanged changed) {
  return std::make_unique<AvahiPublication>(*this, service, std::move(changed));
}

std::unique_ptr<Browser> AvahiDnsSd::browse(const std::string& type, BrowserEvents events) {
  return std::make_unique<AvahiBrowser>(*this, type, std::move(events));
}

std::unique_ptr<Resolution> AvahiDnsSd::resolve(const std::string& name, const std::string& type,
                                                EventLoop::Duration timeout, ResolveEvents events) {
  return std::make_unique<AvahiResolution>(*this, name, type, timeout, std::move(events));
}

std::unique_ptr<DnsSd> makeAvahiClientDnsSd(AvahiLoop& loop, AvailabilityChanged changed) {
  const auto engine = [&loop](AvahiEngine::StateChanged stateChanged, std::string& reason) {
    return makeAvahiClientEngine(loop, std::move(stateChanged), reason);
  };
  return std::make_unique<AvahiDnsSd>(loop, "Avahi daemon", engine, std::move(changed));
}

std::unique_ptr<DnsSd> makeAvahiEmbeddedDnsSd(AvahiLoop& loop, AvailabilityChanged changed) {
  const auto engine = [&loop](AvahiEngine::StateChanged stateChanged, std::string& reason) {
    return makeAvahiEmbeddedEngine(loop, std::move(stateChanged), reason);
  };
  return std::make_unique<AvahiDnsSd>(loop, "built-in responder", engine, std::move(changed));
}

}  // namespace moxtel
