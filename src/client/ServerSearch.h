// Searches the network for servers once. To find all of them, it goes on until no further server has been
// found for some time. On the thread of its loop.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "dnssd/DnsSd.h"
#include "platform/loop/EventLoop.h"

namespace moxtel {

struct FoundServer {
  std::string name;
  std::string host;     // "nas.local"
  std::string address;  // the first IPv4 address; the host if it has none
  std::uint16_t port = 0;
};

class ServerSearch final {
 public:
  struct Limits {
    EventLoop::Duration noServer{4000};  // the search ends if it has found no server by then
    EventLoop::Duration quiet{
        1000};  // the search ends so long after the last event, once each server has its address
    EventLoop::Duration most{15000};  // the search ends by then, whatever neighbors announce
    // Browsing ends when it has found this number, those that left included: resolving takes milliseconds for
    // each, and the DNS-SD library compares each name with all before it.
    std::size_t servers = 32;
  };
  using Done = std::function<void(std::vector<FoundServer>)>;

  // Borrows loop and dnsSd. done is called once, on a later turn of the loop, with the servers that have an
  // address, ordered by name. It may destroy the search.
  ServerSearch(EventLoop& loop, DnsSd& dnsSd, Limits limits, Done done);
  ServerSearch(const ServerSearch&) = delete;
  ServerSearch& operator=(const ServerSearch&) = delete;

 private:
  struct Server {
    std::unique_ptr<Resolution> resolution;  // null once it has an answer
    std::optional<FoundServer> found;
  };
  void found(const std::string& name);
  void resolved(const ResolvedService& service);
  void notResolved(const std::string& name);
  void restartQuiet();
  void end();

  EventLoop& loop_;
  DnsSd& dnsSd_;
  const Limits limits_;
  Done done_;
  std::map<std::string, Server> servers_;
  std::size_t found_ = 0;
  std::unique_ptr<Browser> browser_;
  std::unique_ptr<Timer> timer_;
  std::unique_ptr<Timer> last_;
};

}  // namespace moxtel
