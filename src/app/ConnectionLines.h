// The console lines about clients that connect and disconnect, in the order of these events.
//
// The line about a client that has connected contains its host name. It waits for the name, up to a limit, on
// a thread of its own: neither the client nor the next one waits for a slow name server. Later lines wait
// behind it, each no longer than the limit.
//
// Any thread, except construction and destruction.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace moxtel {

class ConnectionLines final {
 public:
  using Show = std::function<void(const std::string& text)>;  // called on the thread of the lines
  // The host name of an IPv4 address in dotted-quad text. Runs on a thread of its own, which may outlive
  // this.
  using HostLookup = std::function<std::optional<std::string>(const std::string& address)>;

  ConnectionLines(Show show, HostLookup lookUp,
                  std::chrono::milliseconds limit = std::chrono::milliseconds(2000));
  // Shows the lines that wait, without waiting for names.
  ~ConnectionLines();
  ConnectionLines(const ConnectionLines&) = delete;
  ConnectionLines& operator=(const ConnectionLines&) = delete;

  // "Connected to Moxtel on 'name'". The name is what precedes the first dot of the host name; the whole name
  // if it begins with a dot or has none; the address without a host name. It is looked up unless it is given.
  void connected(const std::string& address, std::optional<std::string> hostName);
  // "Lost connection to Moxtel on 'name'", without the name unless exactly one client is known, which then is
  // no longer known.
  void disconnected();
  // Forgets all clients that have connected before.
  void forgetClients();
  // The short name of a client that is known; nothing while its name is looked up.
  std::optional<std::string> client() const;

 private:
  struct State;
  void run();

  const Show show_;
  const HostLookup lookUp_;
  const std::chrono::milliseconds limit_;
  const std::shared_ptr<State> state_;  // shared with the look-ups
  std::thread thread_;
};

}  // namespace moxtel
