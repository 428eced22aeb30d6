#include "client/NetworkServerFinder.h"

#include "dnssd/SystemDnsSd.h"
#include "platform/loop/CoreLoop.h"

namespace moxtel {

namespace {

using namespace std::chrono_literals;

// A list should be complete, so it waits longer for further servers.
constexpr EventLoop::Duration kQuietForAList = 2s;

std::vector<FoundServer> search(ServerSearch::Limits limits) {
  CoreLoop loop;
  std::vector<FoundServer> servers;
  std::unique_ptr<DnsSd> dnsSd;
  std::unique_ptr<ServerSearch> searching;
  loop.post([&] {
    dnsSd = makeSystemDnsSd(loop);
    searching = std::make_unique<ServerSearch>(loop, *dnsSd, limits, [&](std::vector<FoundServer> found) {
      servers = std::move(found);
      loop.quit();
    });
  });
  loop.run();
  searching.reset();
  dnsSd.reset();
  return servers;
}

}  // namespace

std::variant<ServerAddress, std::string> onlyServerOf(const std::vector<FoundServer>& servers) {
  if (servers.empty()) return "no server was found on the network; name one with --host";
  if (servers.size() == 1) return ServerAddress{servers[0].address, servers[0].port};
  std::string text = "several servers were found; name one with --host and --port:";
  for (const FoundServer& server : servers) {
    text += " \"" + server.name + "\" (" + server.address + ", port " + std::to_string(server.port) + ")";
  }
  return text;
}

std::variant<ServerAddress, std::string> NetworkServerFinder::findServer() {
  return onlyServerOf(search({}));
}

std::vector<FoundServer> NetworkServerFinder::listServers() { return search({.quiet = kQuietForAList}); }

}  // namespace moxtel
