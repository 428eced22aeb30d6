#include "dnssd/SystemDnsSd.h"

#include <utility>

#include "dnssd/AvahiDnsSd.h"
#include "dnssd/SwitchingDnsSd.h"
#include "dnssd/ThreadedDnsSd.h"

namespace moxtel {

namespace {

using namespace std::chrono_literals;

constexpr EventLoop::Duration kPatience = 2000ms;
// The daemon's thread is waited for by the other thread, twice at worst (publication and thread).
constexpr EventLoop::Duration kPatienceWithDaemon = 800ms;

std::unique_ptr<DnsSd> makeSwitching(AvahiLoop& loop) {
  const auto makeDaemon = [&loop](AvailabilityChanged changed) {
    return std::make_unique<ThreadedDnsSd>(loop, &makeAvahiClientDnsSd, std::move(changed),
                                           kPatienceWithDaemon);
  };
  const auto makeEmbedded = [&loop](AvailabilityChanged changed) {
    return makeAvahiEmbeddedDnsSd(loop, std::move(changed));
  };
  return std::make_unique<SwitchingDnsSd>(loop, makeDaemon, makeEmbedded, SwitchingDnsSd::Bounds());
}

ThreadedDnsSd::MakeBackEnd backEndFor(DnsSdChoice choice) {
  switch (choice) {
    case DnsSdChoice::Daemon:
      return &makeAvahiClientDnsSd;
    case DnsSdChoice::Embedded:
      return &makeAvahiEmbeddedDnsSd;
    case DnsSdChoice::Best:
      break;
  }
  return [](AvahiLoop& loop, const AvailabilityChanged&) { return makeSwitching(loop); };
}

}  // namespace

std::unique_ptr<DnsSd> makeSystemDnsSd(EventLoop& loop, DnsSdChoice choice) {
  return std::make_unique<ThreadedDnsSd>(loop, backEndFor(choice), AvailabilityChanged(), kPatience);
}

}  // namespace moxtel
