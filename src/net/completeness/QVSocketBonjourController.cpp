#include "net/completeness/QVSocketBonjourController.h"

#include <algorithm>
#include <utility>

#include "log/Log.h"

namespace moxtel {

namespace {

using namespace std::chrono_literals;

constexpr EventLoop::Duration kResolveTimeout = 5s;
// A service has no port before it is resolved; the platform shows that as -1.
constexpr int kNoPortYet = -1;

struct Shared {
  std::mutex mutex;
  std::shared_ptr<QVSocketBonjourController> controller;
  std::string serviceType;
  DnsSd* dnsSd = nullptr;
  NotificationCenter* notifications = nullptr;
};

Shared& shared() {
  static Shared state;
  return state;
}

std::shared_ptr<QVSocketBonjourController> replaceShared(
    std::shared_ptr<QVSocketBonjourController> controller) {
  const std::lock_guard lock(shared().mutex);
  return std::exchange(shared().controller, std::move(controller));
}

std::string shortName(const std::string& name) { return name.substr(0, name.find('.')); }

// IPv6 texts have colons, dotted quads none.
std::string firstIPv4(const ResolvedService& service) {
  const auto isIPv4 = [](const std::string& address) { return address.find(':') == std::string::npos; };
  const auto found = std::find_if(service.addresses.begin(), service.addresses.end(), isIPv4);
  return found == service.addresses.end() ? std::string() : *found;
}

// The record ends before its first missing value.
Dictionary recordOf(const ResolvedService& service) {
  Dictionary record = mutableDictionary({{"serviceName", shortName(service.name)}});
  if (service.hostName.empty()) return record;
  record.set("hostName", service.hostName);
  record.set("name", service.hostName);
  const std::string address = firstIPv4(service);
  if (address.empty()) return record;
  record.set("address", address);
  record.set("port", static_cast<std::int32_t>(service.port));
  return record;
}

}  // namespace

void QVSocketBonjourController::setUp(DnsSd& dnsSd, NotificationCenter& notifications) {
  const std::lock_guard lock(shared().mutex);
  shared().dnsSd = &dnsSd;
  shared().notifications = &notifications;
}

void QVSocketBonjourController::setServiceType(std::string_view type) {
  const std::lock_guard lock(shared().mutex);
  shared().serviceType = type;
}

std::shared_ptr<QVSocketBonjourController> QVSocketBonjourController::theController() {
  std::string type;
  DnsSd* dnsSd = nullptr;
  NotificationCenter* notifications = nullptr;
  {
    const std::lock_guard lock(shared().mutex);
    if (shared().controller || !shared().dnsSd) return shared().controller;
    type = shared().serviceType;
    dnsSd = shared().dnsSd;
    notifications = shared().notifications;
  }
  return initForServiceType(type, *dnsSd, *notifications);
}

void QVSocketBonjourController::suspend() { replaceShared(nullptr); }

void QVSocketBonjourController::stop() {
  if (const auto controller = replaceShared(nullptr)) controller->serviceBrowser_.reset();
}

std::shared_ptr<QVSocketBonjourController> QVSocketBonjourController::initForServiceType(
    std::string_view type, DnsSd& dnsSd, NotificationCenter& notifications) {
  const std::shared_ptr<QVSocketBonjourController> controller(
      new QVSocketBonjourController(type, dnsSd, notifications));
  replaceShared(controller);
  controller->search();
  return controller;
}

QVSocketBonjourController::QVSocketBonjourController(std::string_view type, DnsSd& dnsSd,
                                                     NotificationCenter& notifications)
    : type_(type), dnsSd_(dnsSd), notifications_(notifications) {}

// Observers of a notification may drop the last reference to the controller: each callback holds its own.
void QVSocketBonjourController::search() {
  LogDebug("ULMBonjourController::initForServiceType '%@'", type_);
  const auto weak = weak_from_this();
  serviceBrowser_ = dnsSd_.browse(type_, {[weak](const std::string& name, bool moreComing) {
                                            if (const auto self = weak.lock())
                                              self->didFindService(name, moreComing);
                                          },
                                          [weak](const std::string& name, bool) {
                                            if (const auto self = weak.lock()) self->didRemoveService(name);
                                          }});
}

void QVSocketBonjourController::announce(std::string_view text) {
  notifications_.post("Announce", nullptr, Dictionary{{"announcement", text}});
}

Value QVSocketBonjourController::resolvedServers() const {
  const std::lock_guard lock(mutex_);
  return resolvedServers_;
}

void QVSocketBonjourController::didFindService(const std::string& name, bool moreComing) {
  LogDebug("ULMBonjourController::netServiceBrowser:didFindService '%@', port %ld, moreComing: %d", name,
           kNoPortYet, moreComing);
  const auto weak = weak_from_this();
  theNetService_ = dnsSd_.resolve(name, type_, kResolveTimeout,
                                  {[weak](const ResolvedService& service) {
                                     if (const auto self = weak.lock())
                                       self->netServiceDidResolveAddress(service);
                                   },
                                   [weak](const std::string& reason) {
                                     if (const auto self = weak.lock()) self->netServiceDidNotResolve(reason);
                                   }});
}

void QVSocketBonjourController::netServiceDidResolveAddress(const ResolvedService& service) {
  LogDebug("ULMBonjourController::netServiceDidResolveAddress: %@, port %ld", service.name, service.port);
  const Dictionary record = recordOf(service);
  const std::string text =
      format("ULMBonjourController::netServiceDidResolveAddress, Found server: %@", record);
  LogDebug("ULMBonjourController::netServiceDidResolveAddress, Found server: %@", record);
  announce(text);
  {
    const std::lock_guard lock(mutex_);
    resolvedServers_.set(shortName(service.name), record);
  }
  postChanged();
}

void QVSocketBonjourController::netServiceDidNotResolve(const std::string& reason) {
  LogDebug("ULMBonjourController::netService:didNotResolve, error: %@", Dictionary{{"reason", reason}});
}

void QVSocketBonjourController::didRemoveService(const std::string& name) {
  const std::string text = format("ULMBonjourController::netServiceBrowser:didRemoveService: %@", name);
  LogDebug("%@", text);
  announce(text);
  bool isEmpty = false;
  {
    const std::lock_guard lock(mutex_);
    resolvedServers_.remove(shortName(name));
    isEmpty = resolvedServers_.empty();
  }
  if (isEmpty) LogDebug("Have no services connected");
  postChanged();
}

void QVSocketBonjourController::postChanged() {
  notifications_.post("BonjourServicesChanged", this, Value());
}

}  // namespace moxtel
