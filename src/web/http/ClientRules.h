// Which clients may speak to the page, by their address and by the Host that they name. Immutable; any
// thread.
//
// Browsers let a page of another site send requests to any name. If that name suddenly means an address of
// this network (DNS rebinding), the page could read the answers; so only names of this machine are accepted
// as Host.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "net/AddressList.h"
#include "web/http/RawRequest.h"

namespace moxtel {

// The client of a request, which may be behind a proxy.
struct WebClient {
  std::string address;     // as text
  bool isAllowed = false;  // by its address
  bool isHostAllowed = false;
  bool isSecure = false;  // it speaks HTTPS with the proxy
};

// Whether an address belongs to the local network: private, link-local, shared (100.64/10) or loopback.
bool isLocalNetwork(IPv4Address address);

class ClientRules final {
 public:
  struct Settings {
    AddressList allowedClients;      // if not empty, only these
    AddressList proxies;             // their X-Forwarded-For, X-Forwarded-Host and X-Forwarded-Proto count
    std::vector<std::string> hosts;  // further names of this machine, also addresses
    std::string machineName;         // "nas" or "nas.example.org"
  };

  explicit ClientRules(Settings settings);

  // Whether a connection between these addresses is accepted. A proxy's clients are checked with each
  // request.
  bool mayConnect(IPv4Address peer, IPv4Address local) const;
  // Whether the devices in the network of this address of the machine are refused, because only local
  // networks are admitted.
  bool admitsNoNeighborOf(IPv4Address own) const {
    return settings_.allowedClients.empty() && settings_.proxies.empty() && !isLocalNetwork(own);
  }
  bool isProxy(IPv4Address peer) const {
    return !settings_.proxies.empty() && settings_.proxies.contains(peer);
  }
  WebClient clientOf(const RawRequest& request) const;

 private:
  bool isAllowed(IPv4Address peer, IPv4Address local) const;
  bool isAllowedText(std::string_view address, IPv4Address local) const;
  bool isHostAllowed(std::string_view host, IPv4Address local) const;
  std::string forwardedAddress(const RawRequest& request) const;

  Settings settings_;
};

// The same for an IPv6 address as text: unique local, link-local or loopback. False for any other text.
bool isLocalIPv6(std::string_view address);

// "192.168.1.7"
std::string textOf(IPv4Address address);

// The name or address in a Host field, in lower case and without port, brackets and last dot. Empty if it is
// malformed.
std::string hostOf(std::string_view field);

}  // namespace moxtel
