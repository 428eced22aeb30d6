// A request as it came from the connection: nothing in it is checked, except by the parser of HTTP.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "net/AddressList.h"

namespace moxtel {

struct RawRequest {
  std::string method;
  std::string target;                                       // with the query, still encoded
  std::vector<std::pair<std::string, std::string>> fields;  // of the header, in their order
  IPv4Address peer = 0;                                     // the other end of the connection
  IPv4Address local = 0;                                    // this end of the connection

  // The value of a field, whose name is compared without case. Nothing if it is absent or there is more than
  // one.
  std::optional<std::string> field(std::string_view name) const;
  // How many fields have the name.
  std::size_t count(std::string_view name) const;
};

// Whether two texts are equal apart from the case of ASCII letters.
bool equalsIgnoringCase(std::string_view a, std::string_view b);

}  // namespace moxtel
