// Finds servers by DNS-SD. Each call runs an event loop on the calling thread until the search ends.
#pragma once

#include "client/MoxtelClient.h"

namespace moxtel {

class NetworkServerFinder final : public ServerFinder {
 public:
  // The only server on the network. If there is none or more than one, the text says so and lists them.
  std::variant<ServerAddress, std::string> findServer() override;
  std::vector<FoundServer> listServers() override;
};

// The result of findServer() for these servers.
std::variant<ServerAddress, std::string> onlyServerOf(const std::vector<FoundServer>& servers);

}  // namespace moxtel
