#include "web/http/ClientRules.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>

#include "value/Trimmed.h"

namespace moxtel {

namespace {

struct Network {
  IPv4Address prefix;
  int bits;
};
constexpr Network kLocalNetworks[] = {
    {0x0A000000, 8},   // 10/8, private (RFC 1918)
    {0xAC100000, 12},  // 172.16/12, private
    {0xC0A80000, 16},  // 192.168/16, private
    {0xA9FE0000, 16},  // 169.254/16, link-local (RFC 3927)
    {0x64400000, 10},  // 100.64/10, shared (RFC 6598)
    {0x7F000000, 8},   // loopback
};
constexpr std::size_t kLongestHost = 255;

bool isHostCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == '_';
}

bool isPort(std::string_view text) {
  return text.size() <= 5 && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

std::string lowered(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  }
  return result;
}

// "[2001:db8::1]:4251" → "2001:db8::1"
std::string bracketedHost(std::string_view field) {
  const auto end = field.find(']');
  if (end == std::string_view::npos) return {};
  const std::string_view rest = field.substr(end + 1);
  if (!rest.empty() && (rest.front() != ':' || !isPort(rest.substr(1)))) return {};
  const std::string address = lowered(field.substr(1, end - 1));
  in6_addr parsed{};
  return ::inet_pton(AF_INET6, address.c_str(), &parsed) == 1 ? address : std::string();
}

}  // namespace

bool isLocalNetwork(IPv4Address address) {
  return std::ranges::any_of(kLocalNetworks, [address](const Network& network) {
    return (address ^ network.prefix) >> (32 - network.bits) == 0;
  });
}

bool isLocalIPv6(std::string_view address) {
  in6_addr parsed{};
  if (::inet_pton(AF_INET6, std::string(address).c_str(), &parsed) != 1) return false;
  const bool isUniqueLocal = (parsed.s6_addr[0] & 0xFE) == 0xFC;
  return isUniqueLocal || IN6_IS_ADDR_LINKLOCAL(&parsed) || IN6_IS_ADDR_LOOPBACK(&parsed);
}

std::string hostOf(std::string_view field) {
  if (field.empty() || field.size() > kLongestHost) return {};
  if (field.front() == '[') return bracketedHost(field);
  const auto colon = field.find(':');
  if (colon != std::string_view::npos && !isPort(field.substr(colon + 1))) return {};
  std::string host = lowered(field.substr(0, colon));
  if (host.size() > 1 && host.back() == '.') host.pop_back();
  return std::ranges::all_of(host, isHostCharacter) ? host : std::string();
}

ClientRules::ClientRules(Settings settings) : settings_(std::move(settings)) {
  const std::string full = hostOf(settings_.machineName);
  const std::string name = full.substr(0, full.find('.'));
  for (std::string& host : settings_.hosts) host = hostOf(host);
  for (const std::string& each : {std::string("localhost"), full, name, name + ".local"})
    settings_.hosts.push_back(each);
  std::erase_if(settings_.hosts, [](const std::string& host) { return host.empty() || host == ".local"; });
}

bool ClientRules::mayConnect(IPv4Address peer, IPv4Address local) const {
  return isProxy(peer) || isAllowed(peer, local);
}

// A program on this machine may have a public address.
bool ClientRules::isAllowed(IPv4Address peer, IPv4Address local) const {
  if (!settings_.allowedClients.empty()) return settings_.allowedClients.contains(peer);
  return isLocalNetwork(peer) || peer == local;
}

bool ClientRules::isAllowedText(std::string_view address, IPv4Address local) const {
  if (const auto parsed = parseIPv4Address(address)) return isAllowed(*parsed, local);
  return settings_.allowedClients.empty() && isLocalIPv6(address);
}

WebClient ClientRules::clientOf(const RawRequest& request) const {
  WebClient client;
  std::optional<std::string> host = request.field("Host");
  if (isProxy(request.peer)) {
    client.address = forwardedAddress(request);
    if (request.count("X-Forwarded-Host") > 0) host = request.field("X-Forwarded-Host");
    client.isSecure = equalsIgnoringCase(request.field("X-Forwarded-Proto").value_or(""), "https");
  } else {
    client.address = textOf(request.peer);
  }
  client.isAllowed = isAllowedText(client.address, request.local);
  client.isHostAllowed = host && isHostAllowed(*host, request.local);
  return client;
}

bool ClientRules::isHostAllowed(std::string_view host, IPv4Address local) const {
  const std::string name = hostOf(host);
  if (name.empty()) return false;
  return name == textOf(local) || std::ranges::find(settings_.hosts, name) != settings_.hosts.end();
}

// The last address that is no proxy: what comes before it was written by the client.
std::string ClientRules::forwardedAddress(const RawRequest& request) const {
  const std::string list = request.field("X-Forwarded-For").value_or("");
  std::string_view rest = list;
  while (!rest.empty()) {
    const auto comma = rest.rfind(',');
    const std::string_view last = trimmed(comma == std::string_view::npos ? rest : rest.substr(comma + 1));
    const auto parsed = parseIPv4Address(last);
    if (!parsed || !isProxy(*parsed)) return std::string(last.substr(0, kLongestHost));
    rest = comma == std::string_view::npos ? std::string_view() : rest.substr(0, comma);
  }
  return textOf(request.peer);
}

std::string textOf(IPv4Address address) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    text += std::to_string(address >> shift & 0xFF) + (shift > 0 ? "." : "");
  }
  return text;
}

}  // namespace moxtel
