#include "app/ServerAccess.h"

#include "platform/settings/UserDefaults.h"
#include "support/Localization.h"
#include "value/Format.h"

namespace moxtel {

std::variant<SocketServerAccess, std::string> serverAccess(const UserDefaults& defaults) {
  SocketServerAccess access;
  if (const auto text = defaults.stringForKey("ListenAddress"); text && !text->empty()) {
    const auto address = parseIPv4Address(*text);
    if (!address) return formatRuntime(UserText::tr("-ListenAddress: '%@' is not an IPv4 address"), *text);
    access.listenAddress = *address;
  }
  auto clients = AddressList::parse(defaults.stringForKey("AllowedClients").value_or(""));
  if (const auto* entry = std::get_if<std::string>(&clients)) {
    return formatRuntime(
        UserText::tr("-AllowedClients: '%@' is neither an IPv4 address nor a network such as 192.168.1.0/24"),
        *entry);
  }
  access.allowedClients = std::get<AddressList>(std::move(clients));
  return access;
}

}  // namespace moxtel
