// DNS-SD: publishing a service, browsing for services and resolving them. AvahiDnsSd does it on Linux,
// FakeDnsSd in tests.
//
// A DnsSd, and every object made by it, is made, used and destroyed on the thread of the event loop that it
// was made with, and the DnsSd is destroyed last. The functions given to it are called on that thread too,
// never from within publish(), browse(), resolve() or a destructor, and not after the object is destroyed.
// A function may destroy the object that calls it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/loop/EventLoop.h"

namespace moxtel {

struct ServiceDescription {
  std::string name;  // as shown to people; at most 63 bytes are published, cut between characters
  std::string type;  // "_moxtelserver._tcp." with or without the last dot
  std::uint16_t port = 0;
};

struct PublicationState {
  enum class Kind : std::uint8_t {
    Pending,    // not published yet, or not any more; detail says why, empty before the first try
    Published,  // under the wanted name
    Renamed,    // published under another name ("Name #2"), because the wanted one is taken
    Failed,     // not published, or not within eight seconds; tried again, reported again only when it works
  };
  Kind kind = Kind::Pending;
  std::string name;  // under which it is published, or was to be
  // Published, Renamed: "Avahi daemon" or "built-in responder"; otherwise why not, and what helps if it lasts
  std::string detail;
  bool isPublished() const { return kind == Kind::Published || kind == Kind::Renamed; }
  friend bool operator==(const PublicationState&, const PublicationState&) = default;
};
using PublicationChanged = std::function<void(const PublicationState&)>;

// A service that is published while this lives. The destructor sends the goodbye before it returns, so that
// browsers remove the service at once; it waits two seconds at most for a daemon that does not answer.
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

// Each name is found once, on however many interfaces it is seen, and removed once, when it has left the last
// of them. moreComing: another call follows at once. A name may hold any character.
struct BrowserEvents {
  std::function<void(const std::string& name, bool moreComing)> found;
  std::function<void(const std::string& name, bool moreComing)> removed;
};

// Exactly one of the two is called, once. A service that has only IPv6 addresses takes longer to resolve:
// IPv4 addresses are waited for.
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
  // Null only when nothing at all can publish here; later failures are reported through the function.
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

}  // namespace moxtel
