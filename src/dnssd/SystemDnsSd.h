// The DNS-SD of this machine: on Linux the Avahi daemon where one runs, else a responder inside this process;
// on macOS the system's own.
#pragma once

#include <memory>

#include "dnssd/DnsSd.h"

namespace moxtel {

enum class DnsSdChoice {
  Best,      // as said above
  Daemon,    // the Avahi daemon alone; what is asked waits for ever where none runs
  Embedded,  // the responder alone
};

// On the thread of the loop, which it borrows. Starts one or two threads of its own; never blocks, but for
// two seconds at most when it, or a publication, is destroyed. Where only one kind is offered (macOS) the
// choice is not looked at.
std::unique_ptr<DnsSd> makeSystemDnsSd(EventLoop& loop, DnsSdChoice choice = DnsSdChoice::Best);

}  // namespace moxtel
