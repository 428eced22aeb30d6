#include <avahi-client/client.h>
#include <avahi-client/lookup.h>
#include <avahi-client/publish.h>

#include "platform/AvahiHandles.h"

namespace moxtel {

namespace {

struct ClientApi {
  using Owner = AvahiClient;
  using Group = AvahiEntryGroup;
  using ServiceBrowser = AvahiServiceBrowser;
  using ServiceResolver = AvahiServiceResolver;

  static int errorOf(Owner* owner) { return avahi_client_errno(owner); }
  static Group* newGroup(Owner* owner, AvahiGroupHandle<ClientApi>* handle) {
    const auto called = [](Group*, AvahiEntryGroupState state, void* self) {
      AvahiGroupHandle<ClientApi>::called(state, self);
    };
    return avahi_entry_group_new(owner, called, handle);
  }
  static int addService(Owner*, Group* group, const char* name, const char* type, std::uint16_t port) {
    return avahi_entry_group_add_service_strlst(group, AVAHI_IF_UNSPEC, AVAHI_PROTO_INET,
                                                static_cast<AvahiPublishFlags>(0), name, type, nullptr,
                                                nullptr, port, nullptr);
  }
  static int commit(Group* group) { return avahi_entry_group_commit(group); }
  static void reset(Group* group) { avahi_entry_group_reset(group); }
  static void freeGroup(Group* group) { avahi_entry_group_free(group); }
  static ServiceBrowser* newBrowser(Owner* owner, const char* type, AvahiServiceBrowserCallback called,
                                    void* self) {
    return avahi_service_browser_new(owner, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, type, nullptr,
                                     static_cast<AvahiLookupFlags>(0), called, self);
  }
  static void freeBrowser(ServiceBrowser* browser) { avahi_service_browser_free(browser); }
  static ServiceResolver* newResolver(Owner* owner, const char* name, const char* type, AvahiProtocol family,
                                      AvahiServiceResolverCallback called, void* self) {
    return avahi_service_resolver_new(owner, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, name, type, nullptr, family,
                                      static_cast<AvahiLookupFlags>(0), called, self);
  }
  static void freeResolver(ServiceResolver* resolver) { avahi_service_resolver_free(resolver); }
};

class ClientEngine final : public AvahiEngineOf<ClientApi> {
 public:
  ClientEngine(AvahiLoop& loop, StateChanged changed) : AvahiEngineOf(loop, std::move(changed)) {}
  ~ClientEngine() override {
    if (owner_) avahi_client_free(owner_);
  }
  ClientEngine(const ClientEngine&) = delete;
  ClientEngine& operator=(const ClientEngine&) = delete;

  // NO_FAIL: where there is a bus but no daemon, the client waits for the daemon's name to appear on the bus
  // instead of asking for it again and again.
  bool start(std::string& reason) {
    int error = 0;
    owner_ = avahi_client_new(loop_.poll(), AVAHI_CLIENT_NO_FAIL, &ClientEngine::called, this, &error);
    if (!owner_) reason = avahi_strerror(error);
    return owner_ != nullptr;
  }

 private:
  static void called(AvahiClient* client, AvahiClientState state, void* self) {
    const auto& changed = static_cast<ClientEngine*>(self)->changed_;
    switch (state) {
      case AVAHI_CLIENT_CONNECTING:
        return changed(State::Connecting, "no Avahi daemon runs");
      case AVAHI_CLIENT_S_REGISTERING:
      case AVAHI_CLIENT_S_COLLISION:
        return changed(State::Registering, "the host name is being registered");
      case AVAHI_CLIENT_S_RUNNING:
        return changed(State::Running, {});
      case AVAHI_CLIENT_FAILURE:
        return changed(State::Failed, avahi_strerror(avahi_client_errno(client)));
    }
  }
};

}  // namespace

std::unique_ptr<AvahiEngine> makeAvahiClientEngine(AvahiLoop& loop, AvahiEngine::StateChanged changed,
                                                   std::string& reason) {
  auto engine = std::make_unique<ClientEngine>(loop, std::move(changed));
  if (!engine->start(reason)) return nullptr;
  return engine;
}

}  // namespace moxtel
