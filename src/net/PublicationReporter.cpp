#include "net/PublicationReporter.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>

#include <utility>

namespace moxtel {

namespace {

using namespace std::chrono_literals;

constexpr EventLoop::Duration kLookAgain = 5s;

std::string joined(const std::vector<std::string>& texts) {
  std::string line;
  for (const std::string& text : texts) line += (line.empty() ? "" : ", ") + text;
  return line;
}

std::string textOf(const sockaddr* address) {
  char text[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, text, sizeof text);
  return text;
}

}  // namespace

PublicationReporter::PublicationReporter(EventLoop& loop, std::string wantedName, std::uint16_t port,
                                         Addresses addresses, Show show)
    : wantedName_(std::move(wantedName)),
      port_(port),
      addresses_(std::move(addresses)),
      show_(std::move(show)),
      timer_(loop.callEvery(kLookAgain, [this] { checkAddresses(); })) {}

void PublicationReporter::changed(const PublicationState& state) {
  const PublicationState before = std::exchange(state_, state);
  if (state == before) return;
  if (state.isPublished()) return reportPublished();
  if (state.kind == PublicationState::Kind::Failed) {
    known_ = addresses_();
    return show_("Error", "Could not publish \"" + state.name + "\" on the network: " + state.detail +
                              ". The server can still be reached at " + place());
  }
  if (before.isPublished()) {
    show_("Info", "No longer published as \"" + before.name + "\": " + state.detail);
  }
}

void PublicationReporter::checkAddresses() {
  if (state_.isPublished() && addresses_() != known_) reportPublished();
}

void PublicationReporter::reportPublished() {
  known_ = addresses_();
  const std::string taken =
      state_.kind == PublicationState::Kind::Renamed ? "The name \"" + wantedName_ + "\" is taken. " : "";
  show_("Info", taken + "Published as \"" + state_.name + "\" at " + place() + " (" + state_.detail + ")");
}

std::string PublicationReporter::place() const {
  const std::string where = known_.empty() ? "no network address yet" : joined(known_);
  return where + ", port " + std::to_string(port_);
}

std::vector<std::string> localIPv4Addresses() {
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return {};
  const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owner(list, &freeifaddrs);
  std::vector<std::string> outside;
  std::vector<std::string> loopback;
  for (const ifaddrs* item = list; item; item = item->ifa_next) {
    if (!item->ifa_addr || item->ifa_addr->sa_family != AF_INET || !(item->ifa_flags & IFF_UP)) continue;
    (item->ifa_flags & IFF_LOOPBACK ? loopback : outside).push_back(textOf(item->ifa_addr));
  }
  return outside.empty() ? loopback : outside;
}

}  // namespace moxtel
