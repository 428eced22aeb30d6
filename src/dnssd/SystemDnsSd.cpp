#include "dnssd/SystemDnsSd.h"

#include <utility>

#include "dnssd/AvahiDnsSd.h"
#include "dnssd/AvahiEngines.h"
#include "dnssd/ThreadedAvahiEngine.h"

namespace moxtel {

namespace {

// Both engines are waited for when everything is destroyed.
constexpr EventLoop::Duration kPatience(900);

AvahiDnsSd::MakeEngine onItsThread(EventLoop& loop, ThreadedAvahiEngine::Make make) {
  return [&loop, make = std::move(make)](AvahiEngine::StateChanged changed) {
    return std::make_unique<ThreadedAvahiEngine>(loop, make, std::move(changed), kPatience);
  };
}

}  // namespace

std::unique_ptr<DnsSd> makeSystemDnsSd(EventLoop& loop, DnsSdChoice choice) {
  AvahiDnsSd::MakeEngine daemon;
  AvahiDnsSd::MakeEngine responder;
  if (choice != DnsSdChoice::Embedded) daemon = onItsThread(loop, &makeAvahiClientEngine);
  if (choice != DnsSdChoice::Daemon) responder = onItsThread(loop, &makeAvahiEmbeddedEngine);
  return std::make_unique<AvahiDnsSd>(loop, std::move(daemon), std::move(responder));
}

}  // namespace moxtel
