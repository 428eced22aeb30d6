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
// longer than the limit (the look-up then continues, and its answer is dropped).
std::optional<std::string> nameOfHost(const std::string& address,
                                      std::chrono::milliseconds limit = std::chrono::milliseconds(2000));

// Runs the question on its own thread and waits for the answer up to the limit; a later answer is dropped.
// While 16 questions are unanswered, further ones get no answer. The question must not throw.
std::optional<std::string> answerWithin(std::chrono::milliseconds limit,
                                        std::function<std::optional<std::string>()> question);

}  // namespace moxtel
