#include "web/WebSettings.h"

#include <algorithm>

#include "platform/settings/UserDefaults.h"
#include "platform/system/HostNames.h"
#include "support/Localization.h"
#include "value/Format.h"

namespace moxtel {

namespace {

constexpr std::int64_t kUsualCache = 2048;  // megabytes
constexpr std::int64_t kLargestPort = 65535;

std::string textOr(const UserDefaults& defaults, std::string_view key, const char* otherwise = "") {
  const auto text = defaults.stringForKey(key);
  return text && !text->empty() ? *text : otherwise;
}

std::int64_t numberOr(const UserDefaults& defaults, std::string_view key, std::int64_t otherwise) {
  return defaults.stringForKey(key) ? defaults.integerForKey(key) : otherwise;
}

std::uint64_t bytesOf(std::int64_t megabytes) {
  return static_cast<std::uint64_t>(std::clamp<std::int64_t>(megabytes, 0, INT32_MAX)) << 20;
}

std::vector<std::string> words(const std::string& text) {
  std::vector<std::string> found;
  constexpr const char* kSeparators = ", \t";
  for (auto at = text.find_first_not_of(kSeparators); at != std::string::npos;) {
    const auto end = std::min(text.find_first_of(kSeparators, at), text.size());
    found.push_back(text.substr(at, end - at));
    at = text.find_first_not_of(kSeparators, end);
  }
  return found;
}

// Empty, or what is wrong.
std::string takeAccess(const UserDefaults& defaults, WebSettings& settings) {
  const std::string access = textOr(defaults, "WebAccess", "key");
  if (access == "open") settings.access = WebAccess::Mode::Open;
  if (access == "off") settings.port = 0;
  const bool isKnown = access == "key" || access == "open" || access == "off";
  return isKnown ? std::string()
                 : formatRuntime(UserText::tr("-WebAccess: '%@' is neither key nor open nor off"), access);
}

std::string takeHosts(const UserDefaults& defaults, WebSettings& settings) {
  settings.clients.hosts = words(textOr(defaults, "WebHosts"));
  const auto& hosts = settings.clients.hosts;
  const auto wrong =
      std::ranges::find_if(hosts, [](const std::string& host) { return hostOf(host).empty(); });
  return wrong == hosts.end() ? std::string()
                              : formatRuntime(UserText::tr("-WebHosts: '%@' is no name of a host"), *wrong);
}

std::string takeProxies(const UserDefaults& defaults, WebSettings& settings) {
  auto proxies = AddressList::parse(textOr(defaults, "WebProxy"));
  if (const auto* entry = std::get_if<std::string>(&proxies)) {
    return formatRuntime(
        UserText::tr("-WebProxy: '%@' is neither an IPv4 address nor a network such as 192.168.1.0/24"),
        *entry);
  }
  settings.clients.proxies = std::get<AddressList>(std::move(proxies));
  return {};
}

void takeServersSettings(const UserDefaults& defaults, WebSettings& settings) {
  settings.listenAddress = parseIPv4Address(textOr(defaults, "ListenAddress")).value_or(0);
  auto clients = AddressList::parse(textOr(defaults, "AllowedClients"));
  if (auto* list = std::get_if<AddressList>(&clients)) settings.clients.allowedClients = std::move(*list);
  settings.referencedFolders = textOr(defaults, "ReferencedFolders");
  settings.privateCopyLimit = bytesOf(defaults.integerForKey("PrivateCopyLimit"));
}

}  // namespace

std::variant<WebSettings, std::string> webSettings(const UserDefaults& defaults) {
  WebSettings settings;
  const std::int64_t port = numberOr(defaults, "WebPort", WebSettings::kUsualPort);
  if (port < 0 || port > kLargestPort)
    return UserText::tr("-WebPort: the port must be a number from 0 (no page) to 65535");
  settings.port = static_cast<std::uint16_t>(port);
  settings.clients.machineName = currentHostName();
  settings.libraries = textOr(defaults, "WebLibraries");
  settings.cacheBytes = bytesOf(numberOr(defaults, "WebCacheSize", kUsualCache));
  takeServersSettings(defaults, settings);
  for (const auto take : {&takeAccess, &takeHosts, &takeProxies}) {
    std::string wrong = take(defaults, settings);
    if (!wrong.empty()) return wrong;
  }
  return settings;
}

}  // namespace moxtel
