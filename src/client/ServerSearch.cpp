#include "client/ServerSearch.h"

#include <algorithm>
#include <utility>

namespace moxtel {

namespace {

using namespace std::chrono_literals;

constexpr const char* kServiceType = "_moxtelserver._tcp.";
constexpr EventLoop::Duration kResolveTimeout = 5s;

}  // namespace

ServerSearch::ServerSearch(EventLoop& loop, DnsSd& dnsSd, Limits limits, Done done)
    : loop_(loop), dnsSd_(dnsSd), limits_(limits), done_(std::move(done)) {
  timer_ = loop_.callAfter(limits_.noServer, [this] { end(); });
  last_ = loop_.callAfter(limits_.most, [this] { end(); });
  browser_ = dnsSd_.browse(kServiceType, {[this](const std::string& name, bool) { found(name); },
                                          [this](const std::string& name, bool) {
                                            servers_.erase(name);
                                            restartQuiet();
                                          }});
}

void ServerSearch::found(const std::string& name) {
  if (!browser_) return;  // more of the batch in which the last one was found
  if (++found_ >= limits_.servers) browser_.reset();
  servers_[name].resolution = dnsSd_.resolve(name, kServiceType, kResolveTimeout,
                                             {[this](const ResolvedService& service) { resolved(service); },
                                              [this, name](const std::string&) { notResolved(name); }});
  restartQuiet();
}

void ServerSearch::resolved(const ResolvedService& service) {
  const auto isIPv4 = [](const std::string& address) { return address.find(':') == std::string::npos; };
  const auto address = std::find_if(service.addresses.begin(), service.addresses.end(), isIPv4);
  Server& server = servers_[service.name];
  server.found = {service.name, service.hostName,
                  address == service.addresses.end() ? service.hostName : *address, service.port};
  server.resolution.reset();
  restartQuiet();
}

void ServerSearch::notResolved(const std::string& name) {
  // A copy: erasing the server destroys the closure that owns the name.
  const std::string gone = name;
  servers_.erase(gone);
  restartQuiet();
}

void ServerSearch::restartQuiet() {
  const bool waiting = std::any_of(servers_.begin(), servers_.end(),
                                   [](const auto& server) { return server.second.resolution != nullptr; });
  // Each resolution ends by itself: it succeeds, fails or times out.
  if (waiting) {
    timer_.reset();
  } else {
    timer_ = loop_.callAfter(limits_.quiet, [this] { end(); });
  }
}

void ServerSearch::end() {
  browser_.reset();
  timer_.reset();
  last_.reset();
  std::vector<FoundServer> result;
  for (auto& [name, server] : servers_) {
    if (server.found) result.push_back(std::move(*server.found));
  }
  const Done done = std::move(done_);
  done(std::move(result));
}

}  // namespace moxtel
