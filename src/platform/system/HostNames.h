// Names and addresses of this machine, and names of others. Any thread.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace moxtel {

// This machine's name for people and for publication; "localhost" when it has none.
std::string currentHostName();

// The IPv4 addresses of the interfaces that are up, as dotted quads; those of the loopback interface only
// where there are no others.
std::vector<std::string> localIPv4Addresses();

// The IPv4 address from which this machine reaches other networks; nothing without a default route. Sends
// nothing.
std::optional<std::string> addressOfDefaultRoute();

struct InterfaceAddress {
  int interface = 0;    // its index in the kernel
  std::string address;  // IPv4, a dotted quad
  friend bool operator==(const InterfaceAddress&, const InterfaceAddress&) = default;
};
// The same addresses with their interfaces.
std::vector<InterfaceAddress> localInterfaceAddresses();

// Why changes of this machine's interfaces and addresses cannot be watched, as in a sandbox that forbids it;
// empty where they can.
std::string whyInterfacesCannotBeWatched();

// The host name of an IPv4 address in dotted-quad text; nothing when it has none. Waits as long as the
// system's resolver does, which may be minutes.
std::optional<std::string> nameOfHost(const std::string& address);

// Runs the question on a thread of its own, which then passes the answer on. False, and nothing is asked,
// while 16 questions are unanswered, or without a thread. Neither function may throw; both may run until the
// process ends, so they must own all that they use.
bool ask(std::function<std::optional<std::string>()> question,
         std::function<void(std::optional<std::string>)> answered);

}  // namespace moxtel
