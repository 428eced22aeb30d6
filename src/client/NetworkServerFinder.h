// Finds servers by DNS-SD, for a program without a loop of its own: each call runs one on the calling thread
// until the search is over.
#pragma once

#include "client/MoxtelClient.h"

namespace moxtel {

class NetworkServerFinder final : public ServerFinder {
 public:
  // The only server around. With none, or several, the text says so and names what there is.
  std::variant<ServerAddress, std::string> findServer() override;
  std::vector<FoundServer> listServers() override;
};

// What findServer() makes of the servers around.
std::variant<ServerAddress, std::string> onlyServerOf(const std::vector<FoundServer>& servers);

}  // namespace moxtel
