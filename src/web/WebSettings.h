// The settings of the page for browsers. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include "net/AddressList.h"
#include "web/http/ClientRules.h"
#include "web/http/WebAccess.h"

namespace moxtel {

class UserDefaults;

struct WebSettings {
  static constexpr std::uint16_t kUsualPort = 4251;

  std::uint16_t port = kUsualPort;  // 0: there is no page
  IPv4Address listenAddress = 0;    // 0: all addresses of this machine
  WebAccess::Mode access = WebAccess::Mode::Key;
  ClientRules::Settings clients;
  std::string libraries;               // further ones, as the user wrote them
  std::string referencedFolders;       // as the user wrote them
  std::uint64_t cacheBytes = 0;        // of pictures and movies that were made
  std::uint64_t privateCopyLimit = 0;  // bytes
};

// Or what is wrong with them, for the user. The settings of the handheld's server that count for the page,
// too, are not checked here.
std::variant<WebSettings, std::string> webSettings(const UserDefaults& defaults);

}  // namespace moxtel
