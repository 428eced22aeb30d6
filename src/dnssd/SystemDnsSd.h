// The DNS-SD of this machine: the Avahi daemon where one runs, else a responder inside this process.
#pragma once

#include <memory>

#include "dnssd/DnsSd.h"

namespace moxtel {

enum class DnsSdChoice {
  Best,
  Daemon,    // the Avahi daemon alone; where none runs, requests wait for one
  Embedded,  // the responder alone
};

// Lives on the thread of the loop, which it borrows, and starts one or two more threads. Blocks only when it,
// or a publication, is destroyed, and then for two seconds at most.
std::unique_ptr<DnsSd> makeSystemDnsSd(EventLoop& loop, DnsSdChoice choice = DnsSdChoice::Best);

}  // namespace moxtel
