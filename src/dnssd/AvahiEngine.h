// What Avahi does, the same for its two forms: the client of a running daemon (libavahi-client) and the
// responder inside this process (libavahi-core).
//
// An engine and its handles live on the thread of the loop that they were made with. Everything that Avahi
// calls back, from inside its constructors too, is told on a later turn of that loop, and not once the handle
// (or for states the engine) is destroyed; so a function may destroy what it likes. Handles are destroyed
// before their engine.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "dnssd/AvahiLoop.h"

namespace moxtel {

class AvahiHandle {
 public:
  virtual ~AvahiHandle() = default;
};

// A group of records that is one service; destroying it sends the goodbye on the loop's next round.
class AvahiServiceHandle : public AvahiHandle {
 public:
  enum class State : std::uint8_t { Established, Collision, Failed };
  // Registers under this name; after a collision again under another, in the same group, for Avahi limits the
  // traffic of conflicts by group. What comes of it is told.
  virtual void add(const std::string& name, const std::string& type, std::uint16_t port) = 0;
};

class AvahiEngine {
 public:
  enum class State : std::uint8_t {
    Connecting,   // to a daemon that does not run
    Registering,  // the host name is being registered: browsing works, services wait
    Running,
    Failed,  // for good
  };
  using StateChanged = std::function<void(State, const std::string& reason)>;
  using ServiceChanged = std::function<void(AvahiServiceHandle::State, const std::string& reason)>;

  // One service on one interface with one protocol: seen or gone. Failed: the browser has ended.
  struct Sighting {
    enum class Kind : std::uint8_t { Seen, Gone, Failed };
    Kind kind = Kind::Seen;
    int interface = 0;
    int protocol = 0;
    std::string name;
  };
  using Sighted = std::function<void(const Sighting&)>;

  // One address of a service, or why there is none.
  struct Answer {
    bool found = false;
    std::string hostName;
    std::string address;
    std::uint16_t port = 0;
    std::string reason;
  };
  using Answered = std::function<void(const Answer&)>;
  enum class Family : std::uint8_t { IPv4, IPv6 };

  virtual ~AvahiEngine() = default;
  // Null, with the reason, when Avahi refuses.
  virtual std::unique_ptr<AvahiServiceHandle> service(ServiceChanged changed, std::string& reason) = 0;
  virtual std::unique_ptr<AvahiHandle> browse(const std::string& type, Sighted sighted,
                                              std::string& reason) = 0;
  virtual std::unique_ptr<AvahiHandle> resolve(const std::string& name, const std::string& type,
                                               Family family, Answered answered, std::string& reason) = 0;
};

// Null, with the reason, when there is no bus to find a daemon on, or no socket for a responder.
std::unique_ptr<AvahiEngine> makeAvahiClientEngine(AvahiLoop& loop, AvahiEngine::StateChanged changed,
                                                   std::string& reason);
std::unique_ptr<AvahiEngine> makeAvahiEmbeddedEngine(AvahiLoop& loop, AvahiEngine::StateChanged changed,
                                                     std::string& reason);

}  // namespace moxtel
