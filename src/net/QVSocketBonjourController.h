// QVSocketBonjourController: browses for servers of one type, resolves each to an IPv4 address and port, and
// keeps a record of each under its short name (up to the first "."). The discovery half of the client side.
//
// Only the service found last is being resolved: finding another one before that has an answer drops it.
// moxtel browse, which is to show all, goes to DnsSd itself.
//
// Core thread, but for resolvedServers() and the class operations' own bookkeeping, which are guarded. What
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
  // What the shared controller is made with. Call before theController().
  static void setUp(DnsSd& dnsSd, NotificationCenter& notifications);
  // The type that the next theController() browses for, "" at first.
  static void setServiceType(std::string_view type);
  // The shared controller; made for the stored type when there is none. Null before setUp().
  static std::shared_ptr<QVSocketBonjourController> theController();
  // Drops the shared controller. Its browser goes on for as long as somebody else holds it.
  static void suspend();
  // Stops the shared controller's browser, and drops the controller.
  static void stop();
  // A controller that browses, and is now the shared one.
  static std::shared_ptr<QVSocketBonjourController> initForServiceType(std::string_view type, DnsSd& dnsSd,
                                                                       NotificationCenter& notifications);

  QVSocketBonjourController(const QVSocketBonjourController&) = delete;
  QVSocketBonjourController& operator=(const QVSocketBonjourController&) = delete;

  // Posts "Announce" with {"announcement": text}.
  void announce(std::string_view text);

  // The records by short name: "serviceName", "hostName" and "name" (the host name both), "address" (dotted
  // quad), "port". A record ends before the first of these that is missing, so it may hold "serviceName"
  // alone, or no "address" and so no "port". Any thread.
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
