// Names and addresses of this machine, and names of others. Any thread.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace moxtel {

// This machine's name for people and for publication; "localhost" when it has none.
std::string currentHostName();

// The IPv4 addresses of the interfaces that are up, as dotted quads; those of the loopback interface only
// where there are no others.
std::vector<std::string> localIPv4Addresses();

// Why changes of this machine's interfaces and addresses cannot be watched, as in a sandbox that forbids it;
// empty where they can.
std::string whyInterfacesCannotBeWatched();

// The host name of an IPv4 address in dotted-quad text; nothing when it has none, or when the answer takes
// longer than the limit (the look-up then ends by itself, its answer unused).
std::optional<std::string> nameOfHost(const std::string& address,
                                      std::chrono::milliseconds limit = std::chrono::milliseconds(2000));

// Asks on a thread of its own and waits no longer than the limit; the question may go on after that, and its
// answer is dropped. With many questions unanswered no further one is asked. The question must not throw.
std::optional<std::string> answerWithin(std::chrono::milliseconds limit,
                                        std::function<std::optional<std::string>()> question);

}  // namespace moxtel
