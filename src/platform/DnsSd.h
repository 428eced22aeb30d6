// DNS-SD: publishing a service, browsing for services and resolving them. One seam, several back ends (a
// running Avahi daemon, Avahi inside this process, the system's own on macOS, a fake for tests).
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/EventLoop.h"

namespace moxtel {

struct ServiceDescription {
  std::string name;  // as people see it; at most 63 bytes are published
  std::string type;  // "_moxtelserver._tcp." with or without the last dot
  std::uint16_t port = 0;
};

// What became of a publication. Told on the core thread.
struct PublicationState {
  enum class Kind : std::uint8_t { Pending, Published, Renamed, Failed };
  Kind kind = Kind::Pending;
  std::string name;    // under which it is published now (a conflict gives "Name #2")
  std::string detail;  // which back end, or why it failed
};

// A service that is published while this lives; destroying it says goodbye. Made, used and destroyed on the
// core thread.
class Publication {
 public:
  virtual ~Publication() = default;
};

struct ResolvedService {
  std::string name;
  std::string hostName;
  std::vector<std::string> addresses;  // dotted quads, then IPv6 texts
  std::uint16_t port = 0;
};

// What a browser tells, all on the core thread.
struct BrowserEvents {
  std::function<void(const std::string& name, std::uint16_t port, bool moreComing)> found;
  std::function<void(const std::string& name, bool moreComing)> removed;
};

struct ResolveEvents {
  std::function<void(const ResolvedService&)> resolved;
  std::function<void(const std::string& reason)> notResolved;
};

// Browses, or resolves, while it lives. Core thread.
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
                                               std::function<void(const PublicationState&)> changed) = 0;
  virtual std::unique_ptr<Browser> browse(const std::string& type, BrowserEvents events) = 0;
  virtual std::unique_ptr<Resolution> resolve(const std::string& name, const std::string& type,
                                              EventLoop::Duration timeout, ResolveEvents events) = 0;

 protected:
  DnsSd() = default;
  DnsSd(const DnsSd&) = default;
  DnsSd& operator=(const DnsSd&) = default;
};

}  // namespace moxtel
