// The operations of Avahi, in one interface for its two forms: the client of a running daemon
// (libavahi-client) and the responder inside this process (libavahi-core).
//
// An engine and its operations live on one thread, and operations are destroyed before their engine. Events
// are not delivered from within start().
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace moxtel {

struct AvahiState {
  enum class Kind : std::uint8_t {
    Connecting,   // no daemon runs; the engine waits for one
    Registering,  // the host name is being registered: browsing works, services wait
    Running,
    Failed,  // for good: destroy the engine and make another
  };
  Kind kind = Kind::Connecting;
  std::string reason;  // for people, why services are not published; empty when Running
  bool again = false;  // Failed: another engine that is made at once may work
};

struct AvahiRequest {
  enum class Kind : std::uint8_t { Service, Browser, IPv4Resolver, IPv6Resolver };
  Kind kind = Kind::Service;
  std::string type;        // without the last dot
  std::string name;        // of the service; not for a Browser
  std::uint16_t port = 0;  // of a Service
};

struct AvahiEvent {
  enum class Kind : std::uint8_t {
    Established,  // the service is published
    Collision,    // the service's name is taken
    Seen,         // a browser sees a service on one interface with one protocol
    Gone,         // a browser sees it no longer there
    Resolved,     // one address of a service
    Failed,       // the operation has ended
  };
  Kind kind = Kind::Failed;
  std::string name;   // Seen, Gone
  int interface = 0;  // Seen, Gone
  int protocol = 0;   // Seen, Gone
  std::string hostName;
  std::string address;
  std::uint16_t port = 0;
  std::string reason;  // Failed
};

class AvahiEngine {
 public:
  using StateChanged = std::function<void(const AvahiState&)>;
  using Happened = std::function<void(const AvahiEvent&)>;
  // A service, browser or resolver; destroying it ends it, a service with a goodbye.
  using Operation = std::shared_ptr<void>;

  virtual ~AvahiEngine() = default;
  virtual Operation start(const AvahiRequest& request, Happened happened) = 0;

 protected:
  AvahiEngine() = default;
  AvahiEngine(const AvahiEngine&) = default;
  AvahiEngine& operator=(const AvahiEngine&) = default;
};

}  // namespace moxtel
