// Names of DNS-SD services in the form that the network accepts. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace moxtel {

// The text as valid UTF-8 of at most 63 bytes (a DNS label, RFC 1035), cut between characters. Malformed
// UTF-8 and NUL become U+FFFD.
std::string publishableServiceName(std::string_view name);

// "_moxtelserver._tcp." without its last dot.
std::string serviceTypeWithoutDot(std::string_view type);

// The name to try when one is taken: "Name" gives "Name #2", that gives "Name #3"; at most 63 bytes.
std::string alternativeServiceName(std::string_view name);

}  // namespace moxtel
