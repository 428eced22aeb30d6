#include <avahi-client/client.h>
#include <avahi-client/lookup.h>
#include <avahi-client/publish.h>

#include "dnssd/AvahiEngines.h"
#include "dnssd/AvahiLibraryEngine.h"
#include "platform/system/SharedLibrary.h"

namespace moxtel {

namespace {

struct ClientFunctions {
  using Owner = AvahiClient;
  using Group = AvahiEntryGroup;

  SharedLibrary library{"libavahi-client.so.3"};
  decltype(&avahi_client_new) clientNew = library["avahi_client_new"];
  decltype(&avahi_client_free) clientFree = library["avahi_client_free"];
  decltype(&avahi_client_errno) lastError = library["avahi_client_errno"];
  decltype(&avahi_entry_group_new) groupNew = library["avahi_entry_group_new"];
  decltype(&avahi_entry_group_commit) groupCommit = library["avahi_entry_group_commit"];
  decltype(&avahi_entry_group_free) groupFree = library["avahi_entry_group_free"];
  decltype(&avahi_entry_group_add_service_strlst) groupAdd = library["avahi_entry_group_add_service_strlst"];
  decltype(&avahi_service_browser_new) browserNew = library["avahi_service_browser_new"];
  decltype(&avahi_service_browser_free) browserFree = library["avahi_service_browser_free"];
  decltype(&avahi_service_resolver_new) resolverNew = library["avahi_service_resolver_new"];
  decltype(&avahi_service_resolver_free) resolverFree = library["avahi_service_resolver_free"];

  template <auto Called>
  static AvahiEntryGroupCallback asGroupCallback() {
    return [](Group*, AvahiEntryGroupState state, void* self) { Called(state, self); };
  }
  int addService(Owner*, Group* group, const AvahiRequest& request) const {
    return groupAdd(group, AVAHI_IF_UNSPEC, AVAHI_PROTO_INET, static_cast<AvahiPublishFlags>(0),
                    request.name.c_str(), request.type.c_str(), nullptr, nullptr, request.port, nullptr);
  }
};

const ClientFunctions& clientFunctions() {
  static const ClientFunctions functions;
  return functions;
}

class ClientEngine final : public AvahiLibraryEngine<ClientFunctions> {
 public:
  ClientEngine(AvahiLoop& loop, StateChanged changed)
      : AvahiLibraryEngine(clientFunctions(), std::move(changed)) {
    const std::string problem = connect(loop);
    if (!problem.empty()) changed_({Kind::Failed, problem});
  }
  ~ClientEngine() override {
    if (owner_) functions_.clientFree(owner_);
  }
  ClientEngine(const ClientEngine&) = delete;
  ClientEngine& operator=(const ClientEngine&) = delete;

 private:
  using Kind = AvahiState::Kind;

  // NO_FAIL: where there is a bus but no daemon, the client waits for the daemon's name to appear on the bus.
  std::string connect(AvahiLoop& loop) {
    if (!functions_.library.problem().empty()) return functions_.library.problem();
    int error = 0;
    owner_ = functions_.clientNew(loop.poll(), AVAHI_CLIENT_NO_FAIL, &called, this, &error);
    return owner_ ? "" : avahi_strerror(error);
  }

  static void called(AvahiClient* client, AvahiClientState state, void* self) {
    const auto& engine = *static_cast<ClientEngine*>(self);
    switch (state) {
      case AVAHI_CLIENT_CONNECTING:
        return engine.changed_({Kind::Connecting, "no Avahi daemon runs"});
      case AVAHI_CLIENT_S_REGISTERING:
      case AVAHI_CLIENT_S_COLLISION:
        return engine.changed_({Kind::Registering, kRegistering});
      case AVAHI_CLIENT_S_RUNNING:
        return engine.changed_({Kind::Running, {}});
      case AVAHI_CLIENT_FAILURE:
        return engine.changed_({Kind::Failed, avahi_strerror(engine.functions_.lastError(client))});
    }
  }
};

}  // namespace

std::unique_ptr<AvahiEngine> makeAvahiClientEngine(AvahiLoop& loop, AvahiEngine::StateChanged changed) {
  return std::make_unique<ClientEngine>(loop, std::move(changed));
}

}  // namespace moxtel
