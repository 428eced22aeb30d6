// The settings "ListenAddress" and "AllowedClients": where the server listens, and to whom.
#pragma once

#include <string>
#include <variant>

#include "net/QVSocketServer.h"

namespace moxtel {

class UserDefaults;

// Or what is wrong with the settings, for the user. Any thread.
std::variant<SocketServerAccess, std::string> serverAccess(const UserDefaults& defaults);

}  // namespace moxtel
