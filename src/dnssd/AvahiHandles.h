// The handles of both engines. libavahi-client and libavahi-core name the same things differently; an Api
// type gives the names of one of them, as static members:
//
//   Owner, Group, ServiceBrowser, ServiceResolver        types
//   errorOf(Owner*)                                      the last error
//   newGroup(Owner*, function, void*)                    with function(Group*, AvahiEntryGroupState, void*)
//                                                        reached through groupCalled
//   addService(Owner*, Group*, name, type, port), commit(Group*), reset(Group*), freeGroup(Group*)
//   newBrowser, freeBrowser, newResolver, freeResolver
//
// For AvahiClientEngine.cpp and AvahiEmbeddedEngine.cpp only.
#pragma once

#include <avahi-common/address.h>
#include <avahi-common/defs.h>
#include <avahi-common/error.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "dnssd/AvahiEngine.h"

namespace moxtel {

// A function that Avahi reaches through a raw pointer; told on a later turn of the loop while this lives.
template <class... Arguments>
class LateCall final {
 public:
  using Function = std::function<void(const Arguments&...)>;
  LateCall(EventLoop& loop, Function function)
      : loop_(loop), function_(std::make_shared<Function>(std::move(function))) {}

  void operator()(Arguments... arguments) const {
    loop_.post([weak = std::weak_ptr(function_), ... values = std::move(arguments)] {
      if (const auto function = weak.lock()) (*function)(values...);
    });
  }

 private:
  EventLoop& loop_;
  std::shared_ptr<Function> function_;
};

template <class Api>
class AvahiGroupHandle final : public AvahiServiceHandle {
 public:
  AvahiGroupHandle(EventLoop& loop, typename Api::Owner* owner, AvahiEngine::ServiceChanged changed)
      : owner_(owner), changed_(loop, adapt(std::move(changed))), group_(Api::newGroup(owner, this)) {}
  ~AvahiGroupHandle() override {
    if (group_) Api::freeGroup(group_);
  }
  AvahiGroupHandle(const AvahiGroupHandle&) = delete;
  AvahiGroupHandle& operator=(const AvahiGroupHandle&) = delete;
  bool isMade() const { return group_ != nullptr; }

  void add(const std::string& name, const std::string& type, std::uint16_t port) override {
    Api::reset(group_);
    int error = Api::addService(owner_, group_, name.c_str(), type.c_str(), port);
    if (error >= 0) error = Api::commit(group_);
    if (error == AVAHI_ERR_COLLISION) {
      changed_(State::Collision, std::string());
    } else if (error < 0) {
      changed_(State::Failed, avahi_strerror(error));
    }
  }

  static void called(AvahiEntryGroupState state, void* self) {
    const auto& handle = *static_cast<AvahiGroupHandle*>(self);
    if (state == AVAHI_ENTRY_GROUP_ESTABLISHED) handle.changed_(State::Established, std::string());
    if (state == AVAHI_ENTRY_GROUP_COLLISION) handle.changed_(State::Collision, std::string());
    if (state == AVAHI_ENTRY_GROUP_FAILURE) {
      handle.changed_(State::Failed, avahi_strerror(Api::errorOf(handle.owner_)));
    }
  }

 private:
  using Call = LateCall<State, std::string>;
  static typename Call::Function adapt(AvahiEngine::ServiceChanged changed) {
    return [changed = std::move(changed)](const State& state, const std::string& reason) {
      changed(state, reason);
    };
  }
  typename Api::Owner* owner_;
  Call changed_;  // before group_: Avahi calls from inside its constructor
  typename Api::Group* group_;
};

template <class Api>
class AvahiBrowseHandle final : public AvahiHandle {
 public:
  AvahiBrowseHandle(EventLoop& loop, typename Api::Owner* owner, const std::string& type,
                    AvahiEngine::Sighted sighted)
      : sighted_(loop, std::move(sighted)), browser_(Api::newBrowser(owner, type.c_str(), &called, this)) {}
  ~AvahiBrowseHandle() override {
    if (browser_) Api::freeBrowser(browser_);
  }
  AvahiBrowseHandle(const AvahiBrowseHandle&) = delete;
  AvahiBrowseHandle& operator=(const AvahiBrowseHandle&) = delete;
  bool isMade() const { return browser_ != nullptr; }

 private:
  using Kind = AvahiEngine::Sighting::Kind;
  static void called(typename Api::ServiceBrowser*, AvahiIfIndex interface, AvahiProtocol protocol,
                     AvahiBrowserEvent event, const char* name, const char*, const char*,
                     AvahiLookupResultFlags, void* self) {
    const auto& sighted = static_cast<AvahiBrowseHandle*>(self)->sighted_;
    if (event == AVAHI_BROWSER_FAILURE) sighted({Kind::Failed, 0, 0, {}});
    if (event == AVAHI_BROWSER_NEW) sighted({Kind::Seen, interface, protocol, name});
    if (event == AVAHI_BROWSER_REMOVE) sighted({Kind::Gone, interface, protocol, name});
  }

  LateCall<AvahiEngine::Sighting> sighted_;
  typename Api::ServiceBrowser* browser_;
};

template <class Api>
class AvahiResolveHandle final : public AvahiHandle {
 public:
  AvahiResolveHandle(EventLoop& loop, typename Api::Owner* owner, const std::string& name,
                     const std::string& type, AvahiEngine::Family family, AvahiEngine::Answered answered)
      : owner_(owner),
        answered_(loop, std::move(answered)),
        resolver_(Api::newResolver(owner, name.c_str(), type.c_str(),
                                   family == AvahiEngine::Family::IPv4 ? AVAHI_PROTO_INET : AVAHI_PROTO_INET6,
                                   &called, this)) {}
  ~AvahiResolveHandle() override {
    if (resolver_) Api::freeResolver(resolver_);
  }
  AvahiResolveHandle(const AvahiResolveHandle&) = delete;
  AvahiResolveHandle& operator=(const AvahiResolveHandle&) = delete;
  bool isMade() const { return resolver_ != nullptr; }

 private:
  static void called(typename Api::ServiceResolver*, AvahiIfIndex, AvahiProtocol, AvahiResolverEvent event,
                     const char*, const char*, const char*, const char* hostName, const AvahiAddress* address,
                     std::uint16_t port, AvahiStringList*, AvahiLookupResultFlags, void* self) {
    const auto& handle = *static_cast<AvahiResolveHandle*>(self);
    AvahiEngine::Answer answer;
    answer.found = event == AVAHI_RESOLVER_FOUND && address != nullptr;
    if (answer.found) {
      char text[AVAHI_ADDRESS_STR_MAX] = "";
      avahi_address_snprint(text, sizeof text, address);
      answer.address = text;
      answer.hostName = hostName ? hostName : "";
      answer.port = port;
    } else {
      answer.reason = avahi_strerror(Api::errorOf(handle.owner_));
    }
    handle.answered_(std::move(answer));
  }

  typename Api::Owner* owner_;
  LateCall<AvahiEngine::Answer> answered_;
  typename Api::ServiceResolver* resolver_;
};

// The three questions of an engine, over an owner (a client or a server) that it keeps in owner_.
template <class Api>
class AvahiEngineOf : public AvahiEngine {
 public:
  std::unique_ptr<AvahiServiceHandle> service(ServiceChanged changed, std::string& reason) override {
    return made(std::make_unique<AvahiGroupHandle<Api>>(loop_, owner_, std::move(changed)), reason);
  }
  std::unique_ptr<AvahiHandle> browse(const std::string& type, Sighted sighted,
                                      std::string& reason) override {
    return made(std::make_unique<AvahiBrowseHandle<Api>>(loop_, owner_, type, std::move(sighted)), reason);
  }
  std::unique_ptr<AvahiHandle> resolve(const std::string& name, const std::string& type, Family family,
                                       Answered answered, std::string& reason) override {
    return made(
        std::make_unique<AvahiResolveHandle<Api>>(loop_, owner_, name, type, family, std::move(answered)),
        reason);
  }

 protected:
  AvahiEngineOf(AvahiLoop& loop, StateChanged changed)
      : loop_(loop),
        changed_(loop, [changed = std::move(changed)](const State& state, const std::string& why) {
          changed(state, why);
        }) {}

  AvahiLoop& loop_;
  LateCall<State, std::string> changed_;
  typename Api::Owner* owner_ = nullptr;

 private:
  template <class Handle>
  std::unique_ptr<Handle> made(std::unique_ptr<Handle> handle, std::string& reason) const {
    if (handle->isMade()) return handle;
    reason = avahi_strerror(Api::errorOf(owner_));
    return nullptr;
  }
};

}  // namespace moxtel
