// What concerns a service manager: how this service is, and whether its journal reads what is printed. Any
// thread.
#pragma once

#include <cstdio>
#include <string_view>

namespace moxtel {

// "READY=1", "STOPPING=1". The protocol is one datagram of "KEY=value" to the socket that NOTIFY_SOCKET names
// (sd_notify(3)); nothing happens where there is none. False when there is a service manager that could not
// be told.
bool notifyServiceManager(std::string_view state);

enum class OutputKind : unsigned char { Plain, Journal };

// Whether what is written to the stream goes to the journal ($JOURNAL_STREAM names it).
OutputKind kindOfOutput(std::FILE* stream);

}  // namespace moxtel
