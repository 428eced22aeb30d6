// The operations of both engines. libavahi-client and libavahi-core name the same things differently; a
// Functions type gives the names of one of them:
//
//   Owner, Group                                       types
//   groupNew, groupCommit, groupFree, browserNew, browserFree, resolverNew, resolverFree, lastError
//                                                      pointers to its functions
//   GroupCallback, asGroupCallback(function)           the callback of groupNew, made of one that takes
//                                                      (state, void*)
//   addService(Owner*, Group*, request)                0 or an error
//
// For AvahiClientEngine.cpp and AvahiEmbeddedEngine.cpp only.
#pragma once

#include <avahi-common/address.h>
#include <avahi-common/defs.h>
#include <avahi-common/error.h>

#include <memory>
#include <string>
#include <utility>

#include "dnssd/AvahiEngine.h"

namespace moxtel {

// Functions are called from within Avahi, even from within its constructors: they must not destroy anything
// of Avahi's. ThreadedAvahiEngine's only post.
template <class Functions>
class AvahiLibraryEngine : public AvahiEngine {
 public:
  Operation start(const AvahiRequest& request, Happened happened) override {
    auto started = std::make_shared<Started>(*this, std::move(happened));
    if (request.kind == AvahiRequest::Kind::Service) {
      publish(request, *started);
    } else if (request.kind == AvahiRequest::Kind::Browser) {
      browse(request, *started);
    } else {
      resolve(request, *started);
    }
    if (!started->object) started->fail();
    return started;
  }

 protected:
  using Owner = typename Functions::Owner;
  AvahiLibraryEngine(const Functions& functions, StateChanged changed)
      : functions_(functions), changed_(std::move(changed)) {}

  const Functions& functions_;
  const StateChanged changed_;
  Owner* owner_ = nullptr;

 private:
  // What Avahi's callbacks get as their user data. The object is destroyed before the function.
  struct Started {
    Started(AvahiLibraryEngine& itsEngine, Happened function)
        : engine(itsEngine), happened(std::move(function)) {}
    void fail() const { fail(engine.functions_.lastError(engine.owner_)); }
    void fail(int error) const {
      AvahiEvent event;
      event.reason = avahi_strerror(error);
      happened(event);
    }
    AvahiLibraryEngine& engine;
    const Happened happened;
    std::shared_ptr<void> object;
  };

  void publish(const AvahiRequest& request, Started& started) {
    auto* const group =
        functions_.groupNew(owner_, Functions::template asGroupCallback<&groupCalled>(), &started);
    if (!group) return;
    started.object = {group, functions_.groupFree};
    int error = functions_.addService(owner_, group, request);
    if (error >= 0) error = functions_.groupCommit(group);
    if (error == AVAHI_ERR_COLLISION) {
      happened(started, AvahiEvent::Kind::Collision);
    } else if (error < 0) {
      started.fail(error);
    }
  }

  void browse(const AvahiRequest& request, Started& started) {
    auto* const browser =
        functions_.browserNew(owner_, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, request.type.c_str(), nullptr,
                              static_cast<AvahiLookupFlags>(0), browserCalled, &started);
    if (browser) started.object = {browser, functions_.browserFree};
  }

  void resolve(const AvahiRequest& request, Started& started) {
    const auto family =
        request.kind == AvahiRequest::Kind::IPv4Resolver ? AVAHI_PROTO_INET : AVAHI_PROTO_INET6;
    auto* const resolver = functions_.resolverNew(owner_, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC,
                                                  request.name.c_str(), request.type.c_str(), nullptr, family,
                                                  static_cast<AvahiLookupFlags>(0), resolverCalled, &started);
    if (resolver) started.object = {resolver, functions_.resolverFree};
  }

  static void happened(const Started& started, AvahiEvent::Kind kind) {
    AvahiEvent event;
    event.kind = kind;
    started.happened(event);
  }

  static void groupCalled(AvahiEntryGroupState state, void* self) {
    const auto& started = *static_cast<Started*>(self);
    if (state == AVAHI_ENTRY_GROUP_ESTABLISHED) happened(started, AvahiEvent::Kind::Established);
    if (state == AVAHI_ENTRY_GROUP_COLLISION) happened(started, AvahiEvent::Kind::Collision);
    if (state == AVAHI_ENTRY_GROUP_FAILURE) started.fail();
  }

  template <class Browser>
  static void browserCalled(Browser*, AvahiIfIndex interface, AvahiProtocol protocol, AvahiBrowserEvent what,
                            const char* name, const char*, const char*, AvahiLookupResultFlags, void* self) {
    const auto& started = *static_cast<Started*>(self);
    if (what == AVAHI_BROWSER_FAILURE) return started.fail();
    if (what != AVAHI_BROWSER_NEW && what != AVAHI_BROWSER_REMOVE) return;
    AvahiEvent event;
    event.kind = what == AVAHI_BROWSER_NEW ? AvahiEvent::Kind::Seen : AvahiEvent::Kind::Gone;
    event.name = name;
    event.interface = interface;
    event.protocol = protocol;
    started.happened(event);
  }

  template <class Resolver>
  static void resolverCalled(Resolver*, AvahiIfIndex, AvahiProtocol, AvahiResolverEvent what, const char*,
                             const char*, const char*, const char* hostName, const AvahiAddress* address,
                             std::uint16_t port, AvahiStringList*, AvahiLookupResultFlags, void* self) {
    const auto& started = *static_cast<Started*>(self);
    if (what != AVAHI_RESOLVER_FOUND || !address) return started.fail();
    char text[AVAHI_ADDRESS_STR_MAX] = "";
    avahi_address_snprint(text, sizeof text, address);
    AvahiEvent event;
    event.kind = AvahiEvent::Kind::Resolved;
    event.hostName = hostName ? hostName : "";
    event.address = text;
    event.port = port;
    started.happened(event);
  }
};

}  // namespace moxtel
