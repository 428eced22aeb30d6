// Reports the state of this service to a service manager, and finds out whether its journal reads a stream.
// Any thread.
#pragma once

#include <cstdio>
#include <string_view>

namespace moxtel {

// "READY=1", "STOPPING=1". The protocol is one datagram of "KEY=value" to the socket that NOTIFY_SOCKET names
// (sd_notify(3)); without it nothing is sent. False when sending failed.
bool notifyServiceManager(std::string_view state);

enum class OutputKind : unsigned char { Plain, Journal };

// Whether what is written to the stream goes to the journal ($JOURNAL_STREAM names it).
OutputKind kindOfOutput(std::FILE* stream);

}  // namespace moxtel
