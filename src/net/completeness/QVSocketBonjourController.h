// Kept for completeness: no program here uses this class.
//
// QVSocketBonjourController: browses for servers of one type, resolves each to an IPv4 address and port, and
// keeps a record of each under its short name (up to the first "."). It is the discovery half of the client
// side.
//
// Only the service found last is being resolved: when another is found before the answer comes, the earlier
// one is dropped. (`moxtel browse` shows all services, so it uses DnsSd directly.)
//
// Core thread, except resolvedServers() and the state of the class operations, which any thread may use. What
// is borrowed must outlive the controller.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "dnssd/DnsSd.h"
#include "platform/loop/NotificationCenter.h"
#include "value/Value.h"

namespace moxtel {

class QVSocketBonjourController final : public std::enable_shared_from_this<QVSocketBonjourController> {
 public:
  // Sets what the shared controller uses. Call before theController().
  static void setUp(DnsSd& dnsSd, NotificationCenter& notifications);
  // Sets the type that the next theController() browses for; "" initially.
  static void setServiceType(std::string_view type);
  // The shared controller, created for the stored type if there is none. Null before setUp().
  static std::shared_ptr<QVSocketBonjourController> theController();
  // Drops the shared controller. Its browser runs on while other references exist.
  static void suspend();
  // Stops the shared controller's browser and drops the controller.
  static void stop();
  // Creates a controller that browses, and makes it the shared one.
  static std::shared_ptr<QVSocketBonjourController> initForServiceType(std::string_view type, DnsSd& dnsSd,
                                                                       NotificationCenter& notifications);

  QVSocketBonjourController(const QVSocketBonjourController&) = delete;
  QVSocketBonjourController& operator=(const QVSocketBonjourController&) = delete;

  // Posts "Announce" with {"announcement": text}.
  void announce(std::string_view text);

  // The records by short name. Keys: "serviceName", "hostName" and "name" (both the host name), "address"
  // (dotted quad), "port". A record ends before its first missing value, so it may hold only "serviceName",
  // or neither "address" nor "port". Any thread.
  Value resolvedServers() const;

 private:
  QVSocketBonjourController(std::string_view type, DnsSd& dnsSd, NotificationCenter& notifications);
  void search();
  void didFindService(const std::string& name, bool moreComing);
  void didRemoveService(const std::string& name);
  void netServiceDidResolveAddress(const ResolvedService& service);
  void netServiceDidNotResolve(const std::string& reason);
  void postChanged();

  const std::string type_;
  DnsSd& dnsSd_;
  NotificationCenter& notifications_;
  std::unique_ptr<Browser> serviceBrowser_;
  std::unique_ptr<Resolution> theNetService_;
  mutable std::mutex mutex_;  // guards resolvedServers_
  Dictionary resolvedServers_ = mutableDictionary();
};

}  // namespace moxtel
