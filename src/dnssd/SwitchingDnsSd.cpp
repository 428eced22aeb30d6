#include "dnssd/SwitchingDnsSd.h"

#include <utility>

namespace moxtel {

// What was made for the caller and is carried out by whichever back end is active.
class SwitchingDnsSd::Member {
 public:
  explicit Member(SwitchingDnsSd& owner) : owner_(owner) { owner_.members_.insert(this); }
  virtual ~Member() { owner_.members_.erase(this); }
  Member(const Member&) = delete;
  Member& operator=(const Member&) = delete;
  virtual void attach(DnsSd& backEnd) = 0;
  virtual void detach() = 0;
  // Detached, with no other back end to go to for now. May destroy the member.
  virtual void stranded(const std::string&) {}

 protected:
  SwitchingDnsSd& owner_;
};

class SwitchingDnsSd::SwitchingPublication final : public Publication, public Member {
 public:
  SwitchingPublication(SwitchingDnsSd& owner, ServiceDescription service, PublicationChanged changed)
      : Member(owner), service_(std::move(service)), changed_(std::move(changed)) {
    if (owner_.active_) SwitchingPublication::attach(*owner_.active_);
  }

  void attach(DnsSd& backEnd) override {
    inner_ = backEnd.publish(service_, [this](const PublicationState& state) { tell(state); });
  }
  void detach() override { inner_.reset(); }
  void stranded(const std::string& reason) override {
    tell({PublicationState::Kind::Pending, told_.name.empty() ? service_.name : told_.name, reason});
  }

 private:
  // A back end that begins says Pending, which after a state of the one before is no news.
  void tell(const PublicationState& state) {
    const bool begins = state.kind == PublicationState::Kind::Pending && told_.kind == state.kind;
    if (begins || state == told_) return;
    told_ = state;
    const PublicationChanged changed = changed_;
    if (changed) changed(state);
  }

  const ServiceDescription service_;
  PublicationChanged changed_;
  PublicationState told_;
  std::unique_ptr<Publication> inner_;
};

class SwitchingDnsSd::SwitchingBrowser final : public Browser, public Member {
 public:
  SwitchingBrowser(SwitchingDnsSd& owner, std::string type, BrowserEvents events)
      : Member(owner), type_(std::move(type)), events_(std::move(events)) {
    if (owner_.active_) SwitchingBrowser::attach(*owner_.active_);
  }

  void attach(DnsSd& backEnd) override {
    inner_ = backEnd.browse(type_, {[this](const std::string& name, bool more) { found(name, more); },
                                    [this](const std::string& name, bool more) { removed(name, more); }});
    if (unseen_.empty()) return;
    settled_ = owner_.loop_.callAfter(owner_.bounds_.settle, [this] { forgetUnseen(); });
  }
  void detach() override {
    inner_.reset();
    settled_.reset();
    unseen_.merge(known_);
    known_.clear();
  }

 private:
  void found(const std::string& name, bool moreComing) {
    known_.insert(name);
    if (unseen_.erase(name) > 0) return;  // told by the back end before
    const auto function = events_.found;
    if (function) function(name, moreComing);
  }

  void removed(const std::string& name, bool moreComing) {
    known_.erase(name);
    const auto function = events_.removed;
    if (function) function(name, moreComing);
  }

  void forgetUnseen() {
    const std::set<std::string> unseen = std::exchange(unseen_, {});
    const auto function = events_.removed;
    const std::weak_ptr<int> alive = alive_;
    std::size_t left = unseen.size();
    for (const std::string& name : unseen) {
      if (alive.expired()) return;
      --left;
      if (function) function(name, left > 0);
    }
  }

  const std::string type_;
  BrowserEvents events_;
  std::set<std::string> known_;   // seen by the active back end
  std::set<std::string> unseen_;  // told before a move, not seen since
  std::unique_ptr<Browser> inner_;
  std::unique_ptr<Timer> settled_;
  std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

class SwitchingDnsSd::SwitchingResolution final : public Resolution, public Member {
 public:
  SwitchingResolution(SwitchingDnsSd& owner, std::string name, std::string type, EventLoop::Duration timeout,
                      ResolveEvents events)
      : Member(owner),
        name_(std::move(name)),
        type_(std::move(type)),
        limit_(timeout),
        events_(std::move(events)) {
    timeout_ = owner_.loop_.callAfter(timeout, [this] { notResolved("Timeout reached"); });
    if (owner_.active_) SwitchingResolution::attach(*owner_.active_);
  }

  void attach(DnsSd& backEnd) override {
    if (!timeout_) return;
    inner_ = backEnd.resolve(name_, type_, limit_,
                             {[this](const ResolvedService& service) { resolved(service); },
                              [this](const std::string& reason) { notResolved(reason); }});
  }
  void detach() override { inner_.reset(); }

 private:
  void resolved(const ResolvedService& service) {
    const ResolvedService copy = service;
    const auto function = events_.resolved;
    end();
    if (function) function(copy);
  }
  void notResolved(const std::string& reason) {
    const std::string copy = reason;
    const auto function = events_.notResolved;
    end();
    if (function) function(copy);
  }
  void end() {
    timeout_.reset();
    inner_.reset();
  }

  const std::string name_;
  const std::string type_;
  const EventLoop::Duration limit_;
  ResolveEvents events_;
  std::unique_ptr<Resolution> inner_;
  std::unique_ptr<Timer> timeout_;  // null once there is a result
};

SwitchingDnsSd::SwitchingDnsSd(EventLoop& loop, MakeBackEnd makeDaemon, MakeBackEnd makeEmbedded,
                               Bounds bounds)
    : loop_(loop),
      makeDaemon_(std::move(makeDaemon)),
      makeEmbedded_(std::move(makeEmbedded)),
      bounds_(bounds) {
  startDaemon();
  fallBack_ = loop_.callAfter(bounds_.firstAnswer, [this] { useEmbedded(); });
}

SwitchingDnsSd::~SwitchingDnsSd() = default;

void SwitchingDnsSd::startDaemon() {
  retryDaemon_.reset();
  daemon_ = makeDaemon_([this](const Availability& availability) { daemonChanged(availability); });
}

void SwitchingDnsSd::daemonChanged(const Availability& availability) {
  switch (availability.kind) {
    case Availability::Kind::Available:
      return moveTo(daemon_.get(), {});
    case Availability::Kind::Waiting:
      return leaveDaemon(availability.reason);
    case Availability::Kind::Gone: {
      const bool wasActive = active_ == daemon_.get();
      leaveDaemon(availability.reason);
      daemon_.reset();
      retryDaemon_ =
          loop_.callAfter(wasActive ? bounds_.retryLost : bounds_.retry, [this] { startDaemon(); });
    }
  }
}

// Only a daemon that was there before is waited for.
void SwitchingDnsSd::leaveDaemon(const std::string& reason) {
  if (active_ == daemon_.get()) {
    lost_ = true;
    fallBack_ = loop_.callAfter(bounds_.comeBack, [this] { useEmbedded(); });
    moveTo(nullptr, "the Avahi daemon went away (" + reason + ")");
  } else if (!active_ && !embedded_ && !lost_) {
    useEmbedded();
  }
}

void SwitchingDnsSd::useEmbedded() {
  fallBack_.reset();
  if (active_) return;
  lost_ = false;
  embedded_ = makeEmbedded_([this](const Availability& availability) { embeddedChanged(availability); });
  moveTo(embedded_.get(), {});
}

void SwitchingDnsSd::embeddedChanged(const Availability& availability) {
  if (availability.kind != Availability::Kind::Gone) return;
  moveTo(nullptr, "the built-in responder cannot work (" + availability.reason + ")");
  embedded_.reset();
  fallBack_ = loop_.callAfter(bounds_.retry, [this] { useEmbedded(); });
}

void SwitchingDnsSd::moveTo(DnsSd* backEnd, const std::string& reason) {
  if (active_ == backEnd) return;
  active_ = backEnd;
  for (Member* const member : members_) member->detach();
  if (backEnd && backEnd == daemon_.get()) {
    embedded_.reset();
    fallBack_.reset();
    lost_ = false;
  }
  const std::set<Member*> members = members_;
  for (Member* const member : members) {
    if (!members_.contains(member)) continue;
    backEnd ? member->attach(*backEnd) : member->stranded(reason);
  }
}

std::unique_ptr<Publication> SwitchingDnsSd::publish(const ServiceDescription& service,
                                                     PublicationChanged changed) {
  return std::make_unique<SwitchingPublication>(*this, service, std::move(changed));
}

std::unique_ptr<Browser> SwitchingDnsSd::browse(const std::string& type, BrowserEvents events) {
  return std::make_unique<SwitchingBrowser>(*this, type, std::move(events));
}

std::unique_ptr<Resolution> SwitchingDnsSd::resolve(const std::string& name, const std::string& type,
                                                    EventLoop::Duration timeout, ResolveEvents events) {
  return std::make_unique<SwitchingResolution>(*this, name, type, timeout, std::move(events));
}

}  // namespace moxtel
