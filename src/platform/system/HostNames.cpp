#include "platform/system/HostNames.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

#include "platform/files/FileDescriptor.h"

namespace moxtel {

namespace {

// Bounds the threads of look-ups that the resolver does not answer: an untrusted peer can cause them.
constexpr int kMostUnanswered = 16;

// Shared with the threads, which may outlive all other objects of the process.
struct Counter {
  std::mutex mutex;
  int running = 0;
};

bool mayStart(Counter& counter) {
  const std::lock_guard lock(counter.mutex);
  if (counter.running == kMostUnanswered) return false;
  ++counter.running;
  return true;
}

void ended(Counter& counter) {
  const std::lock_guard lock(counter.mutex);
  --counter.running;
}

std::string dottedQuad(const sockaddr* address) {
  char text[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, text, sizeof text);
  return text;
}

}  // namespace

std::string currentHostName() {
  std::array<char, 256> name{};
  if (::gethostname(name.data(), name.size() - 1) != 0 || name[0] == '\0') return "localhost";
  return name.data();
}

std::vector<InterfaceAddress> localInterfaceAddresses() {
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return {};
  const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owner(list, &freeifaddrs);
  std::vector<InterfaceAddress> outside;
  std::vector<InterfaceAddress> loopback;
  for (const ifaddrs* item = list; item; item = item->ifa_next) {
    if (!item->ifa_addr || item->ifa_addr->sa_family != AF_INET || !(item->ifa_flags & IFF_UP)) continue;
    (item->ifa_flags & IFF_LOOPBACK ? loopback : outside)
        .push_back({static_cast<int>(if_nametoindex(item->ifa_name)), dottedQuad(item->ifa_addr)});
  }
  return outside.empty() ? loopback : outside;
}

std::vector<std::string> localIPv4Addresses() {
  std::vector<std::string> addresses;
  for (InterfaceAddress& each : localInterfaceAddresses()) addresses.push_back(std::move(each.address));
  return addresses;
}

// A datagram socket only looks its route up when it is connected.
std::optional<std::string> addressOfDefaultRoute() {
  const FileDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(9);
  // An address for documents (RFC 5737): not in use.
  ::inet_pton(AF_INET, "198.51.100.1", &address.sin_addr);
  auto* const place = reinterpret_cast<sockaddr*>(&address);
  socklen_t size = sizeof address;
  if (!socket || ::connect(socket.get(), place, size) != 0 ||
      ::getsockname(socket.get(), place, &size) != 0) {
    return std::nullopt;
  }
  return dottedQuad(place);
}

std::string whyInterfacesCannotBeWatched() {
  const FileDescriptor socket(::socket(PF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_ROUTE));
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR;
  const int yes = 1;
  if (socket && ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
      ::setsockopt(socket.get(), SOL_SOCKET, SO_PASSCRED, &yes, sizeof yes) == 0) {
    return {};
  }
  return "the network interfaces cannot be watched: " + std::generic_category().message(errno);
}

std::optional<std::string> nameOfHost(const std::string& address) {
  sockaddr_in socketAddress{};
  socketAddress.sin_family = AF_INET;
  if (::inet_pton(AF_INET, address.c_str(), &socketAddress.sin_addr) != 1) return std::nullopt;
  std::array<char, NI_MAXHOST> name{};
  const int failure =
      ::getnameinfo(reinterpret_cast<const sockaddr*>(&socketAddress), sizeof socketAddress, name.data(),
                    static_cast<socklen_t>(name.size()), nullptr, 0, NI_NAMEREQD);
  if (failure != 0) return std::nullopt;
  return std::string(name.data());
}

bool ask(std::function<std::optional<std::string>()> question,
         std::function<void(std::optional<std::string>)> answered) {
  static const auto kCounter = std::make_shared<Counter>();
  const auto counter = kCounter;
  if (!mayStart(*counter)) return false;
  try {
    std::thread([counter, question = std::move(question), answered = std::move(answered)] {
      std::optional<std::string> answer = question();
      ended(*counter);
      answered(std::move(answer));
    }).detach();
  } catch (const std::system_error&) {
    ended(*counter);
    return false;
  }
  return true;
}

}  // namespace moxtel
