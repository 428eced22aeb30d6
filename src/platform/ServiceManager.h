// Tells a service manager how this service is. The protocol is one datagram of "KEY=value" to the socket that
// NOTIFY_SOCKET names (sd_notify(3)); nothing happens where there is none. Any thread.
#pragma once

#include <string_view>

namespace moxtel {

// "READY=1", "STOPPING=1". False when there is a service manager that could not be told.
bool notifyServiceManager(std::string_view state);

}  // namespace moxtel
