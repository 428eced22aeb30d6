#include "web/PageAddresses.h"

#include <algorithm>

#include "platform/system/HostNames.h"
#include "support/Localization.h"
#include "value/Format.h"
#include "web/http/ClientRules.h"

namespace moxtel {

std::vector<std::string> pageAddresses(IPv4Address listenAddress) {
  if (listenAddress != 0) return {textOf(listenAddress)};
  std::vector<std::string> addresses = localIPv4Addresses();
  if (const auto best = addressOfDefaultRoute()) {
    std::stable_partition(addresses.begin(), addresses.end(),
                          [&](const std::string& each) { return each == *best; });
  }
  return addresses;
}

std::string whyNoDeviceIsAdmitted(const ClientRules& rules, const std::string& address) {
  const auto parsed = parseIPv4Address(address);
  if (!parsed || !rules.admitsNoNeighborOf(*parsed)) return {};
  return formatRuntime(
      UserText::tr("%@ is no address of a local network, such as 192.168.1.20, and only devices of "
                   "local networks may look at the page: name others with -AllowedClients"),
      address);
}

}  // namespace moxtel
