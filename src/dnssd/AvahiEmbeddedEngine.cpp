#include <avahi-common/alternative.h>
#include <avahi-common/malloc.h>
#include <avahi-core/core.h>
#include <avahi-core/log.h>
#include <avahi-core/lookup.h>
#include <avahi-core/publish.h>
#ifdef __linux__
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#endif

#include <cerrno>
#include <system_error>

#include "dnssd/AvahiHandles.h"
#include "dnssd/AvahiLibrary.h"
#include "platform/files/FileDescriptor.h"
#include "platform/system/SystemLog.h"

namespace moxtel {

namespace {

// The functions of libavahi-core that are used, by their names without "avahi_".
struct ServerFunctions {
  ServerFunctions() {
    library.find("avahi_server_new", serverNew);
    library.find("avahi_server_free", serverFree);
    library.find("avahi_server_errno", serverErrno);
    library.find("avahi_server_config_init", serverConfigInit);
    library.find("avahi_server_config_free", serverConfigFree);
    library.find("avahi_server_get_host_name", serverGetHostName);
    library.find("avahi_server_set_host_name", serverSetHostName);
    library.find("avahi_server_add_service_strlst", serverAddServiceStrlst);
    library.find("avahi_s_entry_group_new", sEntryGroupNew);
    library.find("avahi_s_entry_group_free", sEntryGroupFree);
    library.find("avahi_s_entry_group_commit", sEntryGroupCommit);
    library.find("avahi_s_entry_group_reset", sEntryGroupReset);
    library.find("avahi_s_service_browser_new", sServiceBrowserNew);
    library.find("avahi_s_service_browser_free", sServiceBrowserFree);
    library.find("avahi_s_service_resolver_new", sServiceResolverNew);
    library.find("avahi_s_service_resolver_free", sServiceResolverFree);
    library.find("avahi_set_log_function", setLogFunction);
  }
  AvahiLibrary library{"libavahi-core.so.7"};
  decltype(avahi_server_new)* serverNew = nullptr;
  decltype(avahi_server_free)* serverFree = nullptr;
  decltype(avahi_server_errno)* serverErrno = nullptr;
  decltype(avahi_server_config_init)* serverConfigInit = nullptr;
  decltype(avahi_server_config_free)* serverConfigFree = nullptr;
  decltype(avahi_server_get_host_name)* serverGetHostName = nullptr;
  decltype(avahi_server_set_host_name)* serverSetHostName = nullptr;
  decltype(avahi_server_add_service_strlst)* serverAddServiceStrlst = nullptr;
  decltype(avahi_s_entry_group_new)* sEntryGroupNew = nullptr;
  decltype(avahi_s_entry_group_free)* sEntryGroupFree = nullptr;
  decltype(avahi_s_entry_group_commit)* sEntryGroupCommit = nullptr;
  decltype(avahi_s_entry_group_reset)* sEntryGroupReset = nullptr;
  decltype(avahi_s_service_browser_new)* sServiceBrowserNew = nullptr;
  decltype(avahi_s_service_browser_free)* sServiceBrowserFree = nullptr;
  decltype(avahi_s_service_resolver_new)* sServiceResolverNew = nullptr;
  decltype(avahi_s_service_resolver_free)* sServiceResolverFree = nullptr;
  decltype(avahi_set_log_function)* setLogFunction = nullptr;
};

const ServerFunctions& library() {
  static const ServerFunctions functions;
  return functions;
}

struct ServerApi {
  using Owner = AvahiServer;
  using Group = AvahiSEntryGroup;
  using ServiceBrowser = AvahiSServiceBrowser;
  using ServiceResolver = AvahiSServiceResolver;

  static int errorOf(Owner* owner) { return library().serverErrno(owner); }
  static Group* newGroup(Owner* owner, AvahiGroupHandle<ServerApi>* handle) {
    const auto called = [](Owner*, Group*, AvahiEntryGroupState state, void* self) {
      AvahiGroupHandle<ServerApi>::called(state, self);
    };
    return library().sEntryGroupNew(owner, called, handle);
  }
  static int addService(Owner* owner, Group* group, const char* name, const char* type, std::uint16_t port) {
    return library().serverAddServiceStrlst(owner, group, AVAHI_IF_UNSPEC, AVAHI_PROTO_INET,
                                            static_cast<AvahiPublishFlags>(0), name, type, nullptr, nullptr,
                                            port, nullptr);
  }
  static int commit(Group* group) { return library().sEntryGroupCommit(group); }
  static void reset(Group* group) { library().sEntryGroupReset(group); }
  static void freeGroup(Group* group) { library().sEntryGroupFree(group); }
  static ServiceBrowser* newBrowser(Owner* owner, const char* type, AvahiSServiceBrowserCallback called,
                                    void* self) {
    return library().sServiceBrowserNew(owner, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, type, nullptr,
                                        static_cast<AvahiLookupFlags>(0), called, self);
  }
  static void freeBrowser(ServiceBrowser* browser) { library().sServiceBrowserFree(browser); }
  static ServiceResolver* newResolver(Owner* owner, const char* name, const char* type, AvahiProtocol family,
                                      AvahiSServiceResolverCallback called, void* self) {
    return library().sServiceResolverNew(owner, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, name, type, nullptr,
                                         family, static_cast<AvahiLookupFlags>(0), called, self);
  }
  static void freeResolver(ServiceResolver* resolver) { library().sServiceResolverFree(resolver); }
};

// The library writes to standard error otherwise, at every interface and neighbour.
void logErrorsOnly(AvahiLogLevel level, const char* text) {
  if (level == AVAHI_LOG_ERROR) writeSystemLog(text);
}

// The library ends the whole program where it cannot hear of the machine's interfaces, as in a sandbox that
// forbids it.
bool hearsOfInterfaces([[maybe_unused]] std::string& reason) {
#ifdef __linux__
  const FileDescriptor socket(::socket(PF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_ROUTE));
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR;
  const int yes = 1;
  if (!socket || ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      ::setsockopt(socket.get(), SOL_SOCKET, SO_PASSCRED, &yes, sizeof yes) != 0) {
    reason = "the network interfaces cannot be watched: " + std::generic_category().message(errno);
    return false;
  }
#endif
  return true;
}

class EmbeddedEngine final : public AvahiEngineOf<ServerApi> {
 public:
  EmbeddedEngine(AvahiLoop& loop, StateChanged changed) : AvahiEngineOf(loop, std::move(changed)) {}
  // Sends the goodbyes that wait.
  ~EmbeddedEngine() override {
    if (owner_) library().serverFree(owner_);
  }
  EmbeddedEngine(const EmbeddedEngine&) = delete;
  EmbeddedEngine& operator=(const EmbeddedEngine&) = delete;

  bool start(std::string& reason) {
    reason = library().library.problem();
    if (!reason.empty() || !hearsOfInterfaces(reason)) return false;
    library().setLogFunction(&logErrorsOnly);
    AvahiServerConfig config;
    library().serverConfigInit(&config);
    config.use_ipv6 = 0;  // the served listener is IPv4
    config.publish_hinfo = 0;
    config.publish_workstation = 0;
    config.enable_wide_area = 0;
    int error = 0;
    owner_ = library().serverNew(loop_.poll(), &config, &EmbeddedEngine::called, this, &error);
    library().serverConfigFree(&config);
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
        return changed(State::Failed, avahi_strerror(library().serverErrno(server)));
    }
  }

  // Leads to REGISTERING anew.
  static void takeAnotherHostName(AvahiServer* server) {
    char* const name = avahi_alternative_host_name(library().serverGetHostName(server));
    if (name) library().serverSetHostName(server, name);
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
