// DNS-SD: publishing a service, browsing for services and resolving them. One seam, several back ends (a
// running Avahi daemon, Avahi inside this process, the system's own on macOS, a fake for tests).
//
// A DnsSd and everything made by it is made, used and destroyed on one thread, that of the event loop it was
// made with (the core thread for makeSystemDnsSd, SystemDnsSd.h), and outlives what it made. Its functions
// are called there too, never from within publish(), browse(), resolve() or a destructor; once an object is
// destroyed its functions are not called again. A function may destroy the object that called it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/loop/EventLoop.h"

namespace moxtel {

struct ServiceDescription {
  std::string name;  // as people see it; at most 63 bytes are published, cut between characters
  std::string type;  // "_moxtelserver._tcp." with or without the last dot
  std::uint16_t port = 0;
};

// What became of a publication.
struct PublicationState {
  enum class Kind : std::uint8_t {
    Pending,    // not published, but under way; detail says why, empty before the first try
    Published,  // under the wanted name
    Renamed,    // published under another name ("Name #2"), because the wanted one is taken
    Failed,     // not published; tried again now and then without further word until it works
  };
  Kind kind = Kind::Pending;
  std::string name;  // under which it is published, or was to be
  std::string
      detail;  // Published, Renamed: who publishes ("Avahi daemon", "built-in responder"); else why not
  bool isPublished() const { return kind == Kind::Published || kind == Kind::Renamed; }
  friend bool operator==(const PublicationState&, const PublicationState&) = default;
};
using PublicationChanged = std::function<void(const PublicationState&)>;

// A service that is published while this lives. Destroying it sends the goodbye before it returns, so that
// the service vanishes at once from browsers; bounded by two seconds when a daemon does not answer.
class Publication {
 public:
  virtual ~Publication() = default;
};

struct ResolvedService {
  std::string name;
  std::string hostName;                // "nas.local", no last dot; empty when it has none
  std::vector<std::string> addresses;  // dotted quads, then IPv6 texts
  std::uint16_t port = 0;
};

// What a browser tells: each name once when it is first seen, whatever number of interfaces it is seen on,
// and once when it has left the last of them. moreComing: further news follows at once. A name may hold any
// character; its port is not known until it is resolved.
struct BrowserEvents {
  std::function<void(const std::string& name, bool moreComing)> found;
  std::function<void(const std::string& name, bool moreComing)> removed;
};

// One of the two is called, once. IPv4 addresses are waited for; a service that has only IPv6 ones is told
// later than one that has both.
struct ResolveEvents {
  std::function<void(const ResolvedService&)> resolved;
  std::function<void(const std::string& reason)> notResolved;
};

// Browses, or resolves, while it lives.
class Browser {
 public:
  virtual ~Browser() = default;
};
class Resolution {
 public:
  virtual ~Resolution() = default;
};

class DnsSd {
 public:
  virtual ~DnsSd() = default;
  // Null only when nothing at all can publish here; what happens later is told through the function.
  virtual std::unique_ptr<Publication> publish(const ServiceDescription& service,
                                               PublicationChanged changed) = 0;
  virtual std::unique_ptr<Browser> browse(const std::string& type, BrowserEvents events) = 0;
  virtual std::unique_ptr<Resolution> resolve(const std::string& name, const std::string& type,
                                              EventLoop::Duration timeout, ResolveEvents events) = 0;

 protected:
  DnsSd() = default;
  DnsSd(const DnsSd&) = default;
  DnsSd& operator=(const DnsSd&) = default;
};

// Whether a back end can serve now.
struct Availability {
  enum class Kind : std::uint8_t {
    Waiting,    // for its daemon; it becomes Available by itself
    Available,  // what is asked of it is done
    Gone,       // for good: destroy it and make a new one
  };
  Kind kind = Kind::Waiting;
  std::string reason;
};
// Follows the rules of the other functions: on the back end's thread, never from within its constructor.
using AvailabilityChanged = std::function<void(const Availability&)>;

}  // namespace moxtel
