// The two engines, each over one of Avahi's libraries. The libraries are loaded at run time, each without
// seeing the other's symbols, because one program cannot link both: both export avahi_entry_group_free, with
// different parameters, and each would call whichever is found first (libavahi-core 0.8 calls the client's,
// whose assertion ends the process).
#pragma once

#include <memory>

#include "dnssd/AvahiEngine.h"
#include "dnssd/AvahiLoop.h"

namespace moxtel {

// Lives on the thread of the loop, which it borrows. Its functions are called from within Avahi: they may
// only post. Without a bus, a network or its library the engine says Failed at once.
std::unique_ptr<AvahiEngine> makeAvahiClientEngine(AvahiLoop& loop, AvahiEngine::StateChanged changed);
std::unique_ptr<AvahiEngine> makeAvahiEmbeddedEngine(AvahiLoop& loop, AvahiEngine::StateChanged changed);

inline constexpr const char* kRegistering = "the host name is being registered";

}  // namespace moxtel
