#include <avahi-client/client.h>
#include <avahi-client/lookup.h>
#include <avahi-client/publish.h>

#include "dnssd/AvahiHandles.h"
#include "dnssd/AvahiLibrary.h"

namespace moxtel {

namespace {

// The functions of libavahi-client that are used, by their names without "avahi_".
struct ClientFunctions {
  ClientFunctions() {
    library.find("avahi_client_new", clientNew);
    library.find("avahi_client_free", clientFree);
    library.find("avahi_client_errno", clientErrno);
    library.find("avahi_entry_group_new", entryGroupNew);
    library.find("avahi_entry_group_free", entryGroupFree);
    library.find("avahi_entry_group_add_service_strlst", entryGroupAddServiceStrlst);
    library.find("avahi_entry_group_commit", entryGroupCommit);
    library.find("avahi_entry_group_reset", entryGroupReset);
    library.find("avahi_service_browser_new", serviceBrowserNew);
    library.find("avahi_service_browser_free", serviceBrowserFree);
    library.find("avahi_service_resolver_new", serviceResolverNew);
    library.find("avahi_service_resolver_free", serviceResolverFree);
  }
  AvahiLibrary library{"libavahi-client.so.3"};
  decltype(avahi_client_new)* clientNew = nullptr;
  decltype(avahi_client_free)* clientFree = nullptr;
  decltype(avahi_client_errno)* clientErrno = nullptr;
  decltype(avahi_entry_group_new)* entryGroupNew = nullptr;
  decltype(avahi_entry_group_free)* entryGroupFree = nullptr;
  decltype(avahi_entry_group_add_service_strlst)* entryGroupAddServiceStrlst = nullptr;
  decltype(avahi_entry_group_commit)* entryGroupCommit = nullptr;
  decltype(avahi_entry_group_reset)* entryGroupReset = nullptr;
  decltype(avahi_service_browser_new)* serviceBrowserNew = nullptr;
  decltype(avahi_service_browser_free)* serviceBrowserFree = nullptr;
  decltype(avahi_service_resolver_new)* serviceResolverNew = nullptr;
  decltype(avahi_service_resolver_free)* serviceResolverFree = nullptr;
};

const ClientFunctions& library() {
  static const ClientFunctions functions;
  return functions;
}

struct ClientApi {
  using Owner = AvahiClient;
  using Group = AvahiEntryGroup;
  using ServiceBrowser = AvahiServiceBrowser;
  using ServiceResolver = AvahiServiceResolver;

  static int errorOf(Owner* owner) { return library().clientErrno(owner); }
  static Group* newGroup(Owner* owner, AvahiGroupHandle<ClientApi>* handle) {
    const auto called = [](Group*, AvahiEntryGroupState state, void* self) {
      AvahiGroupHandle<ClientApi>::called(state, self);
    };
    return library().entryGroupNew(owner, called, handle);
  }
  static int addService(Owner*, Group* group, const char* name, const char* type, std::uint16_t port) {
    return library().entryGroupAddServiceStrlst(group, AVAHI_IF_UNSPEC, AVAHI_PROTO_INET,
                                                static_cast<AvahiPublishFlags>(0), name, type, nullptr,
                                                nullptr, port, nullptr);
  }
  static int commit(Group* group) { return library().entryGroupCommit(group); }
  static void reset(Group* group) { library().entryGroupReset(group); }
  static void freeGroup(Group* group) { library().entryGroupFree(group); }
  static ServiceBrowser* newBrowser(Owner* owner, const char* type, AvahiServiceBrowserCallback called,
                                    void* self) {
    return library().serviceBrowserNew(owner, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, type, nullptr,
                                       static_cast<AvahiLookupFlags>(0), called, self);
  }
  static void freeBrowser(ServiceBrowser* browser) { library().serviceBrowserFree(browser); }
  static ServiceResolver* newResolver(Owner* owner, const char* name, const char* type, AvahiProtocol family,
                                      AvahiServiceResolverCallback called, void* self) {
    return library().serviceResolverNew(owner, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, name, type, nullptr,
                                        family, static_cast<AvahiLookupFlags>(0), called, self);
  }
  static void freeResolver(ServiceResolver* resolver) { library().serviceResolverFree(resolver); }
};

class ClientEngine final : public AvahiEngineOf<ClientApi> {
 public:
  ClientEngine(AvahiLoop& loop, StateChanged changed) : AvahiEngineOf(loop, std::move(changed)) {}
  ~ClientEngine() override {
    if (owner_) library().clientFree(owner_);
  }
  ClientEngine(const ClientEngine&) = delete;
  ClientEngine& operator=(const ClientEngine&) = delete;

  // NO_FAIL: where there is a bus but no daemon, the client waits for the daemon's name to appear on the bus
  // instead of asking for it again and again.
  bool start(std::string& reason) {
    reason = library().library.problem();
    if (!reason.empty()) return false;
    int error = 0;
    owner_ = library().clientNew(loop_.poll(), AVAHI_CLIENT_NO_FAIL, &ClientEngine::called, this, &error);
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
        return changed(State::Failed, avahi_strerror(library().clientErrno(client)));
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
