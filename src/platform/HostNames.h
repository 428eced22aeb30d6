// Names of this machine and of others. Any thread.
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace moxtel {

// This machine's name for people and for publication; "localhost" when it has none.
std::string currentHostName();

// The host name of an IPv4 address in dotted-quad text; nothing when it has none, or when the answer takes
// longer than the limit (the look-up then ends by itself, its answer unused).
std::optional<std::string> nameOfHost(const std::string& address,
                                      std::chrono::milliseconds limit = std::chrono::milliseconds(2000));

}  // namespace moxtel
