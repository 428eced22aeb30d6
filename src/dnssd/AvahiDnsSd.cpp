#include "dnssd/AvahiDnsSd.h"

#include <algorithm>
#include <map>
#include <system_error>
#include <utility>
#include <vector>

#include "dnssd/ServiceNames.h"
#include "support/Localization.h"

namespace moxtel {

namespace {

using namespace std::chrono_literals;
using Duration = EventLoop::Duration;

// A daemon that has not answered by then is not waited for.
constexpr Duration kFirstAnswer = 1s;
// A restart of the daemon takes less.
constexpr Duration kDaemonRestart = 2s;
constexpr Duration kRetryAtOnce = 200ms;
constexpr Duration kRetryEngine = 5s;

constexpr Duration kRetryPublishing = 30s;
// Publishing takes two seconds, three without a daemon.
constexpr Duration kLatePublication = 8s;
constexpr Duration kRetryBrowsing = 5s;
// What a new browser has not seen by then is gone.
constexpr Duration kSettled = 5s;
// Avahi's own resolver times out after about a second, sooner when there is no network yet.
constexpr Duration kRetryResolving = 200ms;
// A neighbor that claims every name gets ten answers, then one in five seconds.
constexpr int kQuickRenames = 10;
constexpr Duration kSlowRename = 5s;
// The failed look-ups for IPv4 after which a service counts as one that has only IPv6.
constexpr int kEnoughIPv4Failures = 2;

}  // namespace

// A publication, browser or resolution, which runs on whichever engine is active.
class AvahiDnsSd::Member {
 public:
  explicit Member(AvahiDnsSd& owner) : owner_(owner) {
    owner_.members_.insert(this);
    updateSoon();
  }
  virtual ~Member() { owner_.members_.erase(this); }
  Member(const Member&) = delete;
  Member& operator=(const Member&) = delete;

  // Ends what runs on an engine that is about to be destroyed. Calls no function.
  virtual void detach() = 0;
  // The member is new, or the engine or its state has changed.
  virtual void update() = 0;
  // On another turn: the functions that it calls may destroy any member.
  void updateSoon() {
    soon_ = owner_.loop_.callAfter(0ms, [this] { update(); });
  }

 protected:
  AvahiEngine::Operation start(const AvahiRequest& request, AvahiEngine::Happened happened) {
    return owner_.active_->engine->start(request, std::move(happened));
  }

  AvahiDnsSd& owner_;

 private:
  std::unique_ptr<Timer> soon_;
};

class AvahiDnsSd::AvahiPublication final : public Publication, public Member {
 public:
  AvahiPublication(AvahiDnsSd& owner, const ServiceDescription& service, PublicationChanged changed)
      : Member(owner),
        wantedName_(publishableServiceName(service.name)),
        request_{AvahiRequest::Kind::Service, serviceTypeWithoutDot(service.type), wantedName_, service.port},
        changed_(std::move(changed)) {
    expectSoon();
  }

  void detach() override {
    service_.reset();
    retry_.reset();
    request_.name = wantedName_;
    renames_ = 0;
  }

  void update() override {
    retry_.reset();
    if (owner_.canPublish()) {
      if (!service_) add();
    } else {
      service_.reset();
      report(PublicationState::Kind::Pending, owner_.state_.reason);
    }
  }

 private:
  void add() {
    service_ = start(request_, [this](const AvahiEvent& event) { happened(event); });
  }

  void happened(const AvahiEvent& event) {
    using Kind = PublicationState::Kind;
    if (event.kind == AvahiEvent::Kind::Collision) return rename();
    if (event.kind == AvahiEvent::Kind::Failed) return fail(event.reason);
    report(request_.name == wantedName_ ? Kind::Published : Kind::Renamed, owner_.active_->name);
  }

  void rename() {
    service_.reset();
    request_.name = alternativeServiceName(request_.name);
    if (++renames_ <= kQuickRenames) return add();
    retry_ = owner_.loop_.callAfter(kSlowRename, [this] { update(); });
  }

  void fail(const std::string& reason) {
    service_.reset();
    retry_ = owner_.loop_.callAfter(kRetryPublishing, [this] { update(); });
    report(PublicationState::Kind::Failed, reason);
  }

  // Whatever the reason: what is not published by then is reported.
  void expectSoon() {
    late_ = owner_.loop_.callAfter(kLatePublication,
                                   [this] { report(PublicationState::Kind::Failed, reasonForDelay()); });
  }

  // The texts that reasonForDelay composes.
  [[maybe_unused]] static constexpr const char* kReasonsForDelay[] = {
      UserText::later("nothing here publishes services; start the Avahi daemon"),
      UserText::later("no Avahi daemon runs; start the Avahi daemon"),
      UserText::later("the Avahi daemon does not answer; restart it"),
      UserText::later("the built-in responder does not answer; restart it")};

  std::string reasonForDelay() const {
    const std::string& state = owner_.state_.reason;
    if (!owner_.active_) {
      return (state.empty() ? "nothing here publishes services" : state) + "; start the Avahi daemon";
    }
    if (owner_.state_.kind == AvahiState::Kind::Registering) {
      return UserText::later(
          "another responder claims the name or the address of this machine; restart the Avahi daemon, or "
          "give the machine another host name");
    }
    if (renames_ > 0) {
      return UserText::later(
          "other devices claim this name and those that follow it; give the machine another host name");
    }
    return "the " + owner_.active_->name + " does not answer; restart it";
  }

  // Last in every operation: the function may destroy this. What is still not published is not reported
  // again.
  void report(PublicationState::Kind kind, const std::string& detail) {
    PublicationState state{kind, request_.name, detail};
    const bool isStillPending = kind == PublicationState::Kind::Pending && !reported_.isPublished();
    if (isStillPending || state == reported_) return;
    reported_ = state;
    if (kind == PublicationState::Kind::Pending) {
      expectSoon();
    } else {
      late_.reset();
    }
    const PublicationChanged changed = changed_;
    if (changed) changed(state);
  }

  const std::string wantedName_;
  AvahiRequest request_;
  const PublicationChanged changed_;
  PublicationState reported_;
  int renames_ = 0;
  AvahiEngine::Operation service_;
  std::unique_ptr<Timer> retry_;
  std::unique_ptr<Timer> late_;
};

class AvahiDnsSd::AvahiBrowser final : public Browser, public Member {
 public:
  AvahiBrowser(AvahiDnsSd& owner, const std::string& type, BrowserEvents events)
      : Member(owner), type_(serviceTypeWithoutDot(type)), events_(std::move(events)) {}

  void detach() override {
    browser_.reset();
    settled_.reset();
    for (const auto& [name, places] : seen_) unseen_.insert(name);
    seen_.clear();
  }

  void update() override {
    retry_.reset();
    if (!owner_.active_ || browser_) return;
    browser_ = start({AvahiRequest::Kind::Browser, type_, {}, 0},
                     [this](const AvahiEvent& event) { happened(event); });
    if (!unseen_.empty()) settled_ = owner_.loop_.callAfter(kSettled, [this] { forgetUnseen(); });
  }

 private:
  using InterfaceAndProtocol = std::pair<int, int>;
  struct News {
    bool isFound;
    std::string name;
  };

  void happened(const AvahiEvent& event) {
    const InterfaceAndProtocol place{event.interface, event.protocol};
    if (event.kind == AvahiEvent::Kind::Seen) {
      auto& places = seen_[event.name];
      const bool isNew = places.empty();
      places.insert(place);
      if (isNew && unseen_.erase(event.name) == 0) reportSoon({true, event.name});
    } else if (event.kind == AvahiEvent::Kind::Gone) {
      const auto seen = seen_.find(event.name);
      if (seen == seen_.end() || seen->second.erase(place) == 0 || !seen->second.empty()) return;
      seen_.erase(seen);
      reportSoon({false, event.name});
    } else {
      detach();
      retry_ = owner_.loop_.callAfter(kRetryBrowsing, [this] { update(); });
    }
  }

  void forgetUnseen() {
    for (const std::string& name : std::exchange(unseen_, {})) reportSoon({false, name});
  }

  // In batches, each but the last of which says that more is coming.
  void reportSoon(News item) {
    news_.push_back(std::move(item));
    if (!reporting_) reporting_ = owner_.loop_.callAfter(0ms, [this] { report(); });
  }

  // A function may destroy this.
  void report() {
    reporting_.reset();
    const std::vector<News> news = std::exchange(news_, {});
    const BrowserEvents events = events_;
    const std::weak_ptr<int> alive = alive_;
    for (std::size_t i = 0; i < news.size() && !alive.expired(); ++i) {
      const auto& function = news[i].isFound ? events.found : events.removed;
      if (function) function(news[i].name, i + 1 < news.size());
    }
  }

  const std::string type_;
  const BrowserEvents events_;
  std::map<std::string, std::set<InterfaceAndProtocol>> seen_;
  std::set<std::string> unseen_;  // found by an earlier browser, not seen by this one
  std::vector<News> news_;
  AvahiEngine::Operation browser_;
  std::unique_ptr<Timer> retry_;
  std::unique_ptr<Timer> settled_;
  std::unique_ptr<Timer> reporting_;
  const std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

class AvahiDnsSd::AvahiResolution final : public Resolution, public Member {
 public:
  AvahiResolution(AvahiDnsSd& owner, const std::string& name, const std::string& type, Duration timeout,
                  ResolveEvents events)
      : Member(owner), type_(serviceTypeWithoutDot(type)), events_(std::move(events)) {
    result_.name = name;
    timeout_ = owner_.loop_.callAfter(timeout, [this] { timedOut(); });
  }

  void detach() override {
    ipv4_.reset();
    ipv6_.reset();
    retry_.reset();
  }

  void update() override {
    if (!timeout_ || !owner_.active_) return;
    if (!ipv4_) ipv4_ = lookUp(AvahiRequest::Kind::IPv4Resolver, &AvahiResolution::ipv4Happened);
    if (!ipv6_) ipv6_ = lookUp(AvahiRequest::Kind::IPv6Resolver, &AvahiResolution::ipv6Happened);
  }

 private:
  AvahiEngine::Operation lookUp(AvahiRequest::Kind kind,
                                void (AvahiResolution::*happened)(const AvahiEvent&)) {
    return start({kind, type_, result_.name, 0},
                 [this, happened](const AvahiEvent& event) { (this->*happened)(event); });
  }

  void ipv4Happened(const AvahiEvent& event) {
    if (event.kind == AvahiEvent::Kind::Resolved) {
      const std::vector<std::string> ipv6 = std::exchange(result_.addresses, {});
      take(event);
      result_.addresses.insert(result_.addresses.end(), ipv6.begin(), ipv6.end());
      return finish();
    }
    ipv4_.reset();
    if (++ipv4Failures_ >= kEnoughIPv4Failures && !result_.addresses.empty()) return finish();
    retryLater(event.reason);
  }

  void ipv6Happened(const AvahiEvent& event) {
    if (event.kind == AvahiEvent::Kind::Resolved) return take(event);
    ipv6_.reset();
    retryLater(event.reason);
  }

  void take(const AvahiEvent& event) {
    result_.hostName = event.hostName;
    result_.port = event.port;
    auto& known = result_.addresses;
    if (std::find(known.begin(), known.end(), event.address) == known.end()) known.push_back(event.address);
  }

  void retryLater(const std::string& reason) {
    reason_ = reason;
    if (retry_) return;
    retry_ = owner_.loop_.callAfter(kRetryResolving, [this] {
      retry_.reset();
      update();
    });
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
    detach();
    timeout_.reset();
  }

  const std::string type_;
  const ResolveEvents events_;
  ResolvedService result_;
  std::string reason_;  // of the last failure
  int ipv4Failures_ = 0;
  AvahiEngine::Operation ipv4_;
  AvahiEngine::Operation ipv6_;
  std::unique_ptr<Timer> timeout_;  // null once there is a result
  std::unique_ptr<Timer> retry_;
};

AvahiDnsSd::AvahiDnsSd(EventLoop& loop, MakeEngine makeDaemon, MakeEngine makeResponder)
    : loop_(loop),
      daemon_{UserText::later("Avahi daemon"), std::move(makeDaemon), nullptr},
      responder_{UserText::later("built-in responder"), std::move(makeResponder), nullptr} {
  fallBack_ = loop_.callAfter(daemon_.make ? kFirstAnswer : 0ms, [this] { startResponder(); });
  if (daemon_.make) startDaemon();
}

AvahiDnsSd::~AvahiDnsSd() = default;

void AvahiDnsSd::start(BackEnd& backEnd, void (AvahiDnsSd::*changed)(const AvahiState&)) {
  try {
    backEnd.engine = backEnd.make([this, changed](const AvahiState& state) { (this->*changed)(state); });
  } catch (const std::system_error& lack) {
    (this->*changed)({AvahiState::Kind::Failed, lack.what()});
  }
}

void AvahiDnsSd::startDaemon() {
  retryDaemon_.reset();
  start(daemon_, &AvahiDnsSd::daemonChanged);
}

void AvahiDnsSd::startResponder() {
  fallBack_.reset();
  waitsForDaemon_ = false;
  if (active_ || responder_.engine || !responder_.make) return;
  start(responder_, &AvahiDnsSd::responderChanged);
}

void AvahiDnsSd::daemonChanged(const AvahiState& state) {
  using Kind = AvahiState::Kind;
  if (state.kind == Kind::Registering || state.kind == Kind::Running) return use(&daemon_, state);
  const bool isLost = active_ == &daemon_;
  daemonLost(state);
  if (state.kind == Kind::Connecting) return;
  daemon_.engine.reset();
  retryDaemon_ = loop_.callAfter(isLost ? kRetryAtOnce : kRetryEngine, [this] { startDaemon(); });
}

void AvahiDnsSd::daemonLost(const AvahiState& state) {
  if (active_ == &daemon_) {
    use(nullptr, state);
    waitsForDaemon_ = true;
    fallBack_ = loop_.callAfter(kDaemonRestart, [this] { startResponder(); });
  } else if (!waitsForDaemon_) {
    startResponder();
  }
}

void AvahiDnsSd::responderChanged(const AvahiState& state) {
  if (state.kind != AvahiState::Kind::Failed) return use(&responder_, state);
  use(nullptr, state);
  responder_.engine.reset();
  fallBack_ = loop_.callAfter(state.again ? kRetryAtOnce : kRetryEngine, [this] { startResponder(); });
}

void AvahiDnsSd::use(BackEnd* backEnd, const AvahiState& state) {
  if (active_ != backEnd) {
    for (Member* const member : members_) member->detach();
    if (backEnd == &daemon_) {
      responder_.engine.reset();
      fallBack_.reset();
      waitsForDaemon_ = false;
    }
  }
  active_ = backEnd;
  state_ = state;
  for (Member* const member : members_) member->updateSoon();
}

std::unique_ptr<Publication> AvahiDnsSd::publish(const ServiceDescription& service,
                                                 PublicationChanged changed) {
  return std::make_unique<AvahiPublication>(*this, service, std::move(changed));
}

std::unique_ptr<Browser> AvahiDnsSd::browse(const std::string& type, BrowserEvents events) {
  return std::make_unique<AvahiBrowser>(*this, type, std::move(events));
}

std::unique_ptr<Resolution> AvahiDnsSd::resolve(const std::string& name, const std::string& type,
                                                Duration timeout, ResolveEvents events) {
  return std::make_unique<AvahiResolution>(*this, name, type, timeout, std::move(events));
}

}  // namespace moxtel
