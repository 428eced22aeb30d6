// Names of DNS-SD services as the network takes them. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace moxtel {

// The text as valid UTF-8 of at most 63 bytes (a DNS label), cut between characters; what is no UTF-8, and
// NUL, becomes U+FFFD.
std::string publishableServiceName(std::string_view name);

// "_moxtelserver._tcp." without its last dot.
std::string serviceTypeWithoutDot(std::string_view type);

// The name to try when one is taken: "Name" gives "Name #2", that gives "Name #3"; at most 63 bytes.
std::string alternativeServiceName(std::string_view name);

}  // namespace moxtel
