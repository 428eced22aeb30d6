// At which addresses of this machine browsers find the page. Any thread.
#pragma once

#include <string>
#include <vector>

#include "net/AddressList.h"

namespace moxtel {

class ClientRules;

// Dotted quads; that of the default route is first, because phones reach it most likely. 0: of all
// interfaces.
std::vector<std::string> pageAddresses(IPv4Address listenAddress);

// For the user: why the page does not open at this address of the machine although the server listens; empty
// where nothing is known that prevents it.
std::string whyNoDeviceIsAdmitted(const ClientRules& rules, const std::string& address);

}  // namespace moxtel
