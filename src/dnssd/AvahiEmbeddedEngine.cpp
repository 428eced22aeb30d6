#include <avahi-common/alternative.h>
#include <avahi-common/malloc.h>
#include <avahi-common/timeval.h>
#include <avahi-core/core.h>
#include <avahi-core/log.h>
#include <avahi-core/lookup.h>
#include <avahi-core/publish.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <random>
#include <vector>

#include "dnssd/AvahiEngines.h"
#include "dnssd/AvahiLibraryEngine.h"
#include "platform/system/HostNames.h"
#include "platform/system/SharedLibrary.h"
#include "platform/system/SystemLog.h"

namespace moxtel {

namespace {

struct ServerFunctions {
  using Owner = AvahiServer;
  using Group = AvahiSEntryGroup;

  SharedLibrary library{"libavahi-core.so.7"};
  decltype(&avahi_server_new) serverNew = library["avahi_server_new"];
  decltype(&avahi_server_free) serverFree = library["avahi_server_free"];
  decltype(&avahi_server_errno) lastError = library["avahi_server_errno"];
  decltype(&avahi_server_config_init) configInit = library["avahi_server_config_init"];
  decltype(&avahi_server_config_free) configFree = library["avahi_server_config_free"];
  decltype(&avahi_server_get_host_name) hostName = library["avahi_server_get_host_name"];
  decltype(&avahi_server_set_host_name) setHostName = library["avahi_server_set_host_name"];
  decltype(&avahi_s_entry_group_new) groupNew = library["avahi_s_entry_group_new"];
  decltype(&avahi_s_entry_group_commit) groupCommit = library["avahi_s_entry_group_commit"];
  decltype(&avahi_s_entry_group_free) groupFree = library["avahi_s_entry_group_free"];
  decltype(&avahi_server_add_address) addAddress = library["avahi_server_add_address"];
  decltype(&avahi_server_add_service_strlst) groupAdd = library["avahi_server_add_service_strlst"];
  decltype(&avahi_s_service_browser_new) browserNew = library["avahi_s_service_browser_new"];
  decltype(&avahi_s_service_browser_free) browserFree = library["avahi_s_service_browser_free"];
  decltype(&avahi_s_service_resolver_new) resolverNew = library["avahi_s_service_resolver_new"];
  decltype(&avahi_s_service_resolver_free) resolverFree = library["avahi_s_service_resolver_free"];
  decltype(&avahi_set_log_function) setLogFunction = library["avahi_set_log_function"];

  // Avahi itself announces each address together with the reverse name, the name of the machine that has the
  // address, and takes another name when a neighbor says otherwise. A second responder on this machine that
  // uses another host name says otherwise every time. Then the addresses are announced with the service, and
  // without reverse names.
  mutable std::atomic<bool> withoutReverseNames = false;

  template <auto Called>
  static AvahiSEntryGroupCallback asGroupCallback() {
    return [](Owner*, Group*, AvahiEntryGroupState state, void* self) { Called(state, self); };
  }
  int addService(Owner* owner, Group* group, const AvahiRequest& request) const {
    if (withoutReverseNames) addAddresses(owner, group);
    return groupAdd(owner, group, AVAHI_IF_UNSPEC, AVAHI_PROTO_INET, static_cast<AvahiPublishFlags>(0),
                    request.name.c_str(), request.type.c_str(), nullptr, nullptr, request.port, nullptr);
  }
  void addAddresses(Owner* owner, Group* group) const;
};

void ServerFunctions::addAddresses(Owner* owner, Group* group) const {
  for (const InterfaceAddress& each : localInterfaceAddresses()) {
    AvahiAddress address;
    if (!avahi_address_parse(each.address.c_str(), AVAHI_PROTO_INET, &address)) continue;
    addAddress(owner, group, each.interface, AVAHI_PROTO_INET, AVAHI_PUBLISH_NO_REVERSE, nullptr, &address);
  }
}

const ServerFunctions& serverFunctions() {
  static const ServerFunctions functions;
  return functions;
}

// The library's own function writes a line to standard error for every interface and neighbor.
void logErrorsOnly(AvahiLogLevel level, const char* text) {
  if (level == AVAHI_LOG_ERROR) writeSystemLog(text);
}

class EmbeddedEngine final : public AvahiLibraryEngine<ServerFunctions> {
 public:
  EmbeddedEngine(AvahiLoop& loop, StateChanged changed)
      : AvahiLibraryEngine(serverFunctions(), std::move(changed)), loop_(loop) {
    const std::string problem = create(loop);
    if (!problem.empty()) {
      changed_({Kind::Failed, problem});
    } else if (functions_.withoutReverseNames) {
      takeUnusualHostName();
      watchAddresses();
    }
  }
  // Sends the goodbyes that wait.
  ~EmbeddedEngine() override {
    if (timeout_) loop_.poll()->timeout_free(timeout_);
    if (owner_) functions_.serverFree(owner_);
  }
  EmbeddedEngine(const EmbeddedEngine&) = delete;
  EmbeddedEngine& operator=(const EmbeddedEngine&) = delete;

 private:
  using Kind = AvahiState::Kind;

  // The library ends the whole program where it cannot watch the interfaces.
  std::string create(AvahiLoop& loop) {
    if (!functions_.library.problem().empty()) return functions_.library.problem();
    const std::string unwatchable = whyInterfacesCannotBeWatched();
    if (!unwatchable.empty()) return unwatchable;
    functions_.setLogFunction(&logErrorsOnly);
    AvahiServerConfig config;
    functions_.configInit(&config);
    config.use_ipv6 = 0;  // the server listens on IPv4
    config.publish_hinfo = 0;
    config.publish_workstation = 0;
    config.enable_wide_area = 0;
    config.n_cache_entries_max = kMostRecords;
    if (functions_.withoutReverseNames) config.publish_addresses = 0;
    int error = 0;
    owner_ = functions_.serverNew(loop.poll(), &config, &called, this, &error);
    functions_.configFree(&config);
    return owner_ ? "" : avahi_strerror(error);
  }

  // Also called from within avahi_server_new, before owner_ is set.
  static void called(AvahiServer* server, AvahiServerState state, void* self) {
    auto& engine = *static_cast<EmbeddedEngine*>(self);
    switch (state) {
      case AVAHI_SERVER_INVALID:
        return;
      case AVAHI_SERVER_COLLISION:
        return engine.takeAnotherHostName(server);
      case AVAHI_SERVER_REGISTERING:
        return engine.changed_({Kind::Registering, kRegistering});
      case AVAHI_SERVER_RUNNING:
        return engine.changed_({Kind::Running, {}});
      case AVAHI_SERVER_FAILURE:
        return engine.changed_({Kind::Failed, avahi_strerror(engine.functions_.lastError(server))});
    }
  }

  // The state becomes REGISTERING again. After some names, the address is what is claimed.
  void takeAnotherHostName(AvahiServer* server) {
    if (++hostNames_ > kMostHostNames && !functions_.withoutReverseNames.exchange(true)) {
      return changed_({Kind::Failed, "another responder claims the address of this machine", true});
    }
    char* const name = avahi_alternative_host_name(functions_.hostName(server));
    if (name) functions_.setHostName(server, name);
    avahi_free(name);
  }

  // Not the name of the other responder, or of a neighbor: the addresses under that name are theirs.
  void takeUnusualHostName() {
    std::array<char, 8> mark{};
    std::snprintf(mark.data(), mark.size(), "-%04x", std::random_device{}() & 0xFFFFu);
    constexpr std::size_t kLongest = 50;  // a DNS label has up to 63 bytes
    const std::string name = functions_.hostName(owner_);
    functions_.setHostName(owner_, (name.substr(0, kLongest) + mark.data()).c_str());
  }

  void watchAddresses() {
    addresses_ = localInterfaceAddresses();
    timeout_ = loop_.poll()->timeout_new(loop_.poll(), nullptr, &timePassed, this);
    timePassed(timeout_, this);
  }

  static void timePassed(AvahiTimeout* timeout, void* self) {
    const auto& engine = *static_cast<EmbeddedEngine*>(self);
    if (engine.addresses_ != localInterfaceAddresses()) {
      return engine.changed_({Kind::Failed, "the addresses of this machine have changed", true});
    }
    timeval next;
    engine.loop_.poll()->timeout_update(timeout, avahi_elapse_time(&next, kLookAgain, 0));
  }

  static constexpr unsigned kLookAgain = 5000;  // milliseconds
  static constexpr int kMostHostNames = 4;
  // For each interface, of all devices. The library compares each record with those that have the same key,
  // so 4096, its default, allow a flood of names to cost milliseconds each. Publishing needs no record, and
  // a search finds what is answered to its first question.
  static constexpr unsigned kMostRecords = 128;

  AvahiLoop& loop_;
  int hostNames_ = 0;
  std::vector<InterfaceAddress> addresses_;  // that were announced with services
  AvahiTimeout* timeout_ = nullptr;
};

}  // namespace

std::unique_ptr<AvahiEngine> makeAvahiEmbeddedEngine(AvahiLoop& loop, AvahiEngine::StateChanged changed) {
  return std::make_unique<EmbeddedEngine>(loop, std::move(changed));
}

}  // namespace moxtel
