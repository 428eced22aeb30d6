// DNS-SD through the system's own responder (dns_sd.h). Written against Apple's header; it has never been
// compiled or run on macOS.
//
// Every object has its own connection, whose functions are called on one serial dispatch queue; they hop to
// the caller's loop. A connection is closed on that queue too, so none of its functions runs afterwards. An
// interface's index of 0 means all of them.
#include <arpa/inet.h>
#include <dispatch/dispatch.h>
#include <dns_sd.h>
#include <netinet/in.h>

#include <map>
#include <set>
#include <utility>

#include "platform/DnsSd.h"
#include "platform/ServiceNames.h"
#include "platform/SystemDnsSd.h"

namespace moxtel {

namespace {

using namespace std::chrono_literals;

// After the responder was restarted every connection to it is dead, and made anew.
constexpr EventLoop::Duration kReconnect = 1s;
constexpr EventLoop::Duration kRetryPublishing = 30s;
constexpr const char* kPublisher = "system responder";

std::string reasonOf(DNSServiceErrorType error) { return "DNS-SD error " + std::to_string(error); }

// One connection to the responder. hop() reaches the owner while it lives.
class Connection {
 public:
  Connection(EventLoop& loop, dispatch_queue_t queue) : loop_(loop), queue_(queue) {}
  ~Connection() { close(); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Takes what a DNSService… call made; false, and nothing taken, when it failed.
  bool open(DNSServiceErrorType error, DNSServiceRef made) {
    close();
    if (error != kDNSServiceErr_NoError) return false;
    service_ = made;
    error_ = DNSServiceSetDispatchQueue(service_, queue_);
    return error_ == kDNSServiceErr_NoError;
  }

  void close() {
    if (service_) {
      dispatch_sync_f(queue_, service_,
                      [](void* service) { DNSServiceRefDeallocate(static_cast<DNSServiceRef>(service)); });
    }
    service_ = nullptr;
    alive_ = std::make_shared<int>(0);
  }

  // On the queue. The token is read there, and written by close() when the queue has let go of it.
  void hop(EventLoop::Task task) const {
    loop_.post([token = std::weak_ptr(alive_), task = std::move(task)] {
      if (token.lock()) task();
    });
  }

 private:
  EventLoop& loop_;
  dispatch_queue_t queue_;
  DNSServiceRef service_ = nullptr;
  DNSServiceErrorType error_ = kDNSServiceErr_NoError;
  std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

// The responder renames by itself and says under which name the service is there.
class MacPublication final : public Publication {
 public:
  MacPublication(EventLoop& loop, dispatch_queue_t queue, const ServiceDescription& service,
                 PublicationChanged changed)
      : loop_(loop),
        name_(publishableServiceName(service.name)),
        type_(serviceTypeWithoutDot(service.type)),
        port_(service.port),
        changed_(std::move(changed)),
        connection_(loop, queue) {
    retry_ = loop_.callAfter(0ms, [this] { start(); });
  }

 private:
  void start() {
    retry_.reset();
    DNSServiceRef made = nullptr;
    const auto error = DNSServiceRegister(&made, 0, 0, name_.c_str(), type_.c_str(), nullptr, nullptr,
                                          htons(port_), 0, nullptr, &MacPublication::called, this);
    if (!connection_.open(error, made)) registered(error, name_);
  }

  static void DNSSD_API called(DNSServiceRef, DNSServiceFlags, DNSServiceErrorType error, const char* name,
                               const char*, const char*, void* context) {
    auto* const self = static_cast<MacPublication*>(context);
    self->connection_.hop(
        [self, error, name = std::string(name ? name : "")] { self->registered(error, name); });
  }

  void registered(DNSServiceErrorType error, const std::string& name) {
    if (error == kDNSServiceErr_NoError) {
      const auto kind = name == name_ ? PublicationState::Kind::Published : PublicationState::Kind::Renamed;
      return tell({kind, name, kPublisher});
    }
    const bool restarted = error == kDNSServiceErr_ServiceNotRunning;
    retry_ = loop_.callAfter(restarted ? kReconnect : kRetryPublishing, [this] { start(); });
    tell({restarted ? PublicationState::Kind::Pending : PublicationState::Kind::Failed, name_,
          reasonOf(error)});
  }

  // Last in every operation: the function may destroy this.
  void tell(const PublicationState& state) {
    const PublicationChanged changed = changed_;
    if (state == told_) return;
    told_ = state;
    if (changed) changed(state);
  }

  EventLoop& loop_;
  const std::string name_;
  const std::string type_;
  const std::uint16_t port_;
  PublicationChanged changed_;
  PublicationState told_;
  std::unique_ptr<Timer> retry_;
  Connection connection_;
};

class MacBrowser final : public Browser {
 public:
  MacBrowser(EventLoop& loop, dispatch_queue_t queue, const std::string& type, BrowserEvents events)
      : loop_(loop),
        type_(serviceTypeWithoutDot(type)),
        events_(std::move(events)),
        connection_(loop, queue) {
    start();
  }

 private:
  void start() {
    retry_.reset();
    DNSServiceRef made = nullptr;
    const auto error = DNSServiceBrowse(&made, 0, 0, type_.c_str(), nullptr, &MacBrowser::called, this);
    if (!connection_.open(error, made)) retryLater();
  }

  void retryLater() {
    retry_ = loop_.callAfter(kReconnect, [this] { start(); });
  }

  static void DNSSD_API called(DNSServiceRef, DNSServiceFlags flags, std::uint32_t interface,
                               DNSServiceErrorType error, const char* name, const char*, const char*,
                               void* context) {
    auto* const self = static_cast<MacBrowser*>(context);
    self->connection_.hop([self, flags, interface, error, name = std::string(name ? name : "")] {
      error == kDNSServiceErr_NoError ? self->seen(flags, interface, name) : self->retryLater();
    });
  }

  void seen(DNSServiceFlags flags, std::uint32_t interface, const std::string& name) {
    const bool moreComing = (flags & kDNSServiceFlagsMoreComing) != 0;
    auto& interfaces = seen_[name];
    if (flags & kDNSServiceFlagsAdd) {
      if (interfaces.insert(interface).second && interfaces.size() == 1)
        tell(events_.found, name, moreComing);
      return;
    }
    const bool wasThere = interfaces.erase(interface) > 0;
    if (!interfaces.empty()) return;
    seen_.erase(name);
    if (wasThere) tell(events_.removed, name, moreComing);
  }

  static void tell(std::function<void(const std::string&, bool)> function, const std::string& name,
                   bool moreComing) {
    if (function) function(name, moreComing);
  }

  EventLoop& loop_;
  const std::string type_;
  BrowserEvents events_;
  std::map<std::string, std::set<std::uint32_t>> seen_;
  std::unique_ptr<Timer> retry_;
  Connection connection_;
};

// First host name and port, then the host's addresses.
class MacResolution final : public Resolution {
 public:
  MacResolution(EventLoop& loop, dispatch_queue_t queue, const std::string& name, const std::string& type,
                EventLoop::Duration timeout, ResolveEvents events)
      : events_(std::move(events)), service_(loop, queue), addresses_(loop, queue) {
    result_.name = name;
    timeout_ = loop.callAfter(timeout, [this] { end("Timeout reached"); });
    DNSServiceRef made = nullptr;
    const auto error = DNSServiceResolve(&made, 0, 0, name.c_str(), serviceTypeWithoutDot(type).c_str(),
                                         "local.", &MacResolution::resolved, this);
    service_.open(error, made);
  }

 private:
  static void DNSSD_API resolved(DNSServiceRef, DNSServiceFlags, std::uint32_t interface,
                                 DNSServiceErrorType error, const char*, const char* host, std::uint16_t port,
                                 std::uint16_t, const unsigned char*, void* context) {
    if (error != kDNSServiceErr_NoError) return;
    auto* const self = static_cast<MacResolution*>(context);
    self->service_.hop(
        [self, interface, port, host = std::string(host)] { self->ask(interface, host, ntohs(port)); });
  }

  void ask(std::uint32_t interface, const std::string& host, std::uint16_t port) {
    result_.hostName = serviceTypeWithoutDot(host);
    result_.port = port;
    DNSServiceRef made = nullptr;
    const auto error =
        DNSServiceGetAddrInfo(&made, 0, interface, kDNSServiceProtocol_IPv4 | kDNSServiceProtocol_IPv6,
                              host.c_str(), &MacResolution::addressFound, this);
    addresses_.open(error, made);
  }

  static void DNSSD_API addressFound(DNSServiceRef, DNSServiceFlags, std::uint32_t, DNSServiceErrorType error,
                                     const char*, const sockaddr* address, std::uint32_t, void* context) {
    if (error != kDNSServiceErr_NoError || !address) return;
    const bool isIPv4 = address->sa_family == AF_INET;
    const void* const bytes =
        isIPv4 ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in*>(address)->sin_addr)
               : &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr;
    char text[INET6_ADDRSTRLEN] = "";
    inet_ntop(address->sa_family, bytes, text, sizeof text);
    auto* const self = static_cast<MacResolution*>(context);
    self->addresses_.hop([self, isIPv4, found = std::string(text)] { self->take(isIPv4, found); });
  }

  // An IPv4 address ends the wait for more; IPv6 addresses alone are told when the time is up.
  void take(bool isIPv4, const std::string& address) {
    auto& addresses = result_.addresses;
    addresses.insert(isIPv4 ? addresses.begin() : addresses.end(), address);
    if (isIPv4) end({});
  }

  void end(const std::string& reason) {
    timeout_.reset();
    service_.close();
    addresses_.close();
    const ResolveEvents events = events_;
    const ResolvedService result = result_;
    if (!result.addresses.empty()) {
      if (events.resolved) events.resolved(result);
    } else if (events.notResolved) {
      events.notResolved(reason);
    }
  }

  ResolveEvents events_;
  ResolvedService result_;
  std::unique_ptr<Timer> timeout_;
  Connection service_;
  Connection addresses_;
};

class MacDnsSd final : public DnsSd {
 public:
  explicit MacDnsSd(EventLoop& loop)
      : loop_(loop), queue_(dispatch_queue_create("moxtel.dnssd", DISPATCH_QUEUE_SERIAL)) {}
  ~MacDnsSd() override { dispatch_release(queue_); }
  MacDnsSd(const MacDnsSd&) = delete;
  MacDnsSd& operator=(const MacDnsSd&) = delete;

  std::unique_ptr<Publication> publish(const ServiceDescription& service,
                                       PublicationChanged changed) override {
    return std::make_unique<MacPublication>(loop_, queue_, service, std::move(changed));
  }
  std::unique_ptr<Browser> browse(const std::string& type, BrowserEvents events) override {
    return std::make_unique<MacBrowser>(loop_, queue_, type, std::move(events));
  }
  std::unique_ptr<Resolution> resolve(const std::string& name, const std::string& type,
                                      EventLoop::Duration timeout, ResolveEvents events) override {
    return std::make_unique<MacResolution>(loop_, queue_, name, type, timeout, std::move(events));
  }

 private:
  EventLoop& loop_;
  dispatch_queue_t queue_;
};

}  // namespace

std::unique_ptr<DnsSd> makeSystemDnsSd(EventLoop& loop, DnsSdChoice) {
  return std::make_unique<MacDnsSd>(loop);
}

}  // namespace moxtel
