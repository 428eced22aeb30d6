#include <avahi-common/alternative.h>
#include <avahi-common/malloc.h>
#include <avahi-core/core.h>
#include <avahi-core/log.h>
#include <avahi-core/lookup.h>
#include <avahi-core/publish.h>

#include "platform/AvahiHandles.h"
#include "platform/SystemLog.h"

namespace moxtel {

namespace {

struct ServerApi {
  using Owner = AvahiServer;
  using Group = AvahiSEntryGroup;
  using ServiceBrowser = AvahiSServiceBrowser;
  using ServiceResolver = AvahiSServiceResolver;

  static int errorOf(Owner* owner) { return avahi_server_errno(owner); }
  static Group* newGroup(Owner* owner, AvahiGroupHandle<ServerApi>* handle) {
    const auto called = [](Owner*, Group*, AvahiEntryGroupState state, void* self) {
      AvahiGroupHandle<ServerApi>::called(state, self);
    };
    return avahi_s_entry_group_new(owner, called, handle);
  }
  static int addService(Owner* owner, Group* group, const char* name, const char* type, std::uint16_t port) {
    return avahi_server_add_service_strlst(owner, group, AVAHI_IF_UNSPEC, AVAHI_PROTO_INET,
                                           static_cast<AvahiPublishFlags>(0), name, type, nullptr, nullptr,
                                           port, nullptr);
  }
  static int commit(Group* group) { return avahi_s_entry_group_commit(group); }
  static void reset(Group* group) { avahi_s_entry_group_reset(group); }
  static void freeGroup(Group* group) { avahi_s_entry_group_free(group); }
  static ServiceBrowser* newBrowser(Owner* owner, const char* type, AvahiSServiceBrowserCallback called,
                                    void* self) {
    return avahi_s_service_browser_new(owner, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, type, nullptr,
                                       static_cast<AvahiLookupFlags>(0), called, self);
  }
  static void freeBrowser(ServiceBrowser* browser) { avahi_s_service_browser_free(browser); }
  static ServiceResolver* newResolver(Owner* owner, const char* name, const char* type, AvahiProtocol family,
                                      AvahiSServiceResolverCallback called, void* self) {
    return avahi_s_service_resolver_new(owner, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, name, type, nullptr,
                                        family, static_cast<AvahiLookupFlags>(0), called, self);
  }
  static void freeResolver(ServiceResolver* resolver) { avahi_s_service_resolver_free(resolver); }
};

// The library writes to standard error otherwise, at every interface and neighbour.
void logErrorsOnly(AvahiLogLevel level, const char* text) {
  if (level == AVAHI_LOG_ERROR) writeSystemLog(text);
}

class EmbeddedEngine final : public AvahiEngineOf<ServerApi> {
 public:
  EmbeddedEngine(AvahiLoop& loop, StateChanged changed) : AvahiEngineOf(loop, std::move(changed)) {}
  // Sends the goodbyes that wait.
  ~EmbeddedEngine() override {
    if (owner_) avahi_server_free(owner_);
  }
  EmbeddedEngine(const EmbeddedEngine&) = delete;
  EmbeddedEngine& operator=(const EmbeddedEngine&) = delete;

  bool start(std::string& reason) {
    avahi_set_log_function(&logErrorsOnly);
    AvahiServerConfig config;
    avahi_server_config_init(&config);
    config.use_ipv6 = 0;  // the served listener is IPv4
    config.publish_hinfo = 0;
    config.publish_workstation = 0;
    config.enable_wide_area = 0;
    int error = 0;
    AvahiServer* const server =
        avahi_server_new(loop_.poll(), &config, &EmbeddedEngine::called, this, &error);
    avahi_server_config_free(&config);
    owner_ = server;
    if (!owner_) reason = avahi_strerror(error);
    return owner_ != nullptr;
  }

 private:
  // Also called from within avahi_server_new, before owner_ is known.
  static void called(AvahiServer* server, AvahiServerState state, void* self) {
    const auto& changed = static_cast<EmbeddedEngine*>(self)->changed_;
    switch (state) {
      case AVAHI_SERVER_INVALID:
        return;
      case AVAHI_SERVER_COLLISION:
        return takeAnotherHostName(server);
      case AVAHI_SERVER_REGISTERING:
        return changed(State::Registering, "the host name is being registered");
      case AVAHI_SERVER_RUNNING:
        return changed(State::Running, {});
      case AVAHI_SERVER_FAILURE:
        return changed(State::Failed, avahi_strerror(avahi_server_errno(server)));
    }
  }

  // Leads to REGISTERING anew.
  static void takeAnotherHostName(AvahiServer* server) {
    char* const name = avahi_alternative_host_name(avahi_server_get_host_name(server));
    if (name) avahi_server_set_host_name(server, name);
    avahi_free(name);
  }
};

}  // namespace

std::unique_ptr<AvahiEngine> makeAvahiEmbeddedEngine(AvahiLoop& loop, AvahiEngine::StateChanged changed,
                                                     std::string& reason) {
  auto engine = std::make_unique<EmbeddedEngine>(loop, std::move(changed));
  if (!engine->start(reason)) return nullptr;
  return engine;
}

}  // namespace moxtel
