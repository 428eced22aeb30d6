#include "net/AddressList.h"

#include <algorithm>
#include <charconv>

namespace moxtel {

namespace {

constexpr std::string_view kSeparators = ", \t";
constexpr int kBits = 32;

// A decimal number without sign and leading zeros.
std::optional<int> parseNumber(std::string_view text, int largest) {
  int number = -1;
  const bool isPlain = !text.empty() && text.front() != '-' && (text.size() == 1 || text.front() != '0');
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (!isPlain || error != std::errc() || end != text.data() + text.size() || number > largest) {
    return std::nullopt;
  }
  return number;
}

// Shifting 32 bits by 32 would be undefined.
IPv4Address maskOf(int bits) { return static_cast<IPv4Address>(~std::uint64_t{0} << (kBits - bits)); }

}  // namespace

std::optional<IPv4Address> parseIPv4Address(std::string_view text) {
  IPv4Address address = 0;
  for (int part = 0; part < 4; ++part) {
    const std::size_t dot = part < 3 ? text.find('.') : text.size();
    if (dot == std::string_view::npos) return std::nullopt;
    const auto number = parseNumber(text.substr(0, dot), 255);
    if (!number) return std::nullopt;
    address = address << 8 | static_cast<IPv4Address>(*number);
    text.remove_prefix(std::min(dot + 1, text.size()));
  }
  return address;
}

std::variant<AddressList, std::string> AddressList::parse(std::string_view text) {
  AddressList list;
  for (std::size_t at = text.find_first_not_of(kSeparators); at != std::string_view::npos;) {
    const std::size_t end = std::min(text.find_first_of(kSeparators, at), text.size());
    const std::string_view entry = text.substr(at, end - at);
    const auto network = parseNetwork(entry);
    if (!network) return std::string(entry);
    list.networks_.push_back(*network);
    at = text.find_first_not_of(kSeparators, end);
  }
  // A list without entries would allow every client.
  if (list.empty() && !text.empty()) return std::string(text);
  return list;
}

std::optional<AddressList::Network> AddressList::parseNetwork(std::string_view entry) {
  const std::size_t slash = entry.find('/');
  const auto address = parseIPv4Address(entry.substr(0, slash));
  const auto bits =
      slash == std::string_view::npos ? std::optional(kBits) : parseNumber(entry.substr(slash + 1), kBits);
  if (!address || !bits) return std::nullopt;
  return Network{*address & maskOf(*bits), maskOf(*bits)};
}

bool AddressList::contains(IPv4Address address) const {
  return std::any_of(networks_.begin(), networks_.end(),
                     [&](const Network& network) { return (address & network.mask) == network.prefix; });
}

}  // namespace moxtel
