// A list of IPv4 addresses and networks: "192.168.1.0/24, 10.0.0.7". An immutable value; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace moxtel {

// An IPv4 address in the machine's byte order: 0x7F000001 is 127.0.0.1.
using IPv4Address = std::uint32_t;

// An address in dotted-quad text, without leading zeros; nothing for any other text.
std::optional<IPv4Address> parseIPv4Address(std::string_view text);

class AddressList final {
 public:
  // Entries are separated by commas or blanks. An entry is an address, or an address, "/" and the number of
  // its leading bits that the network's addresses share (0 to 32); the address's other bits do not matter.
  // The empty text is the empty list. Otherwise the first entry that is wrong, or the whole text if it has
  // none.
  static std::variant<AddressList, std::string> parse(std::string_view text);

  bool empty() const { return networks_.empty(); }
  bool contains(IPv4Address address) const;

 private:
  struct Network {
    IPv4Address prefix = 0;
    IPv4Address mask = 0;
  };
  static std::optional<Network> parseNetwork(std::string_view entry);

  std::vector<Network> networks_;
};

}  // namespace moxtel
