// A list of addresses and networks. What is accepted contains exactly the addresses that a second reading of
// the text, bit by bit, says.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/FuzzInput.h"
#include "net/AddressList.h"

namespace {

using moxtel::AddressList;
using moxtel::IPv4Address;

bool isSeparator(char c) { return c == ',' || c == ' ' || c == '\t'; }

std::vector<std::string> entriesOf(std::string_view text) {
  std::vector<std::string> entries;
  bool isInside = false;
  for (const char c : text) {
    if (!isSeparator(c)) {
      if (!isInside) entries.emplace_back();
      entries.back() += c;
    }
    isInside = !isSeparator(c);
  }
  return entries;
}

// The bits of an accepted entry's address, the first one first.
std::vector<bool> bitsOf(const std::string& entry) {
  std::vector<bool> bits;
  unsigned number = 0;
  for (const char c : entry.substr(0, entry.find('/')) + '.') {
    if (c != '.') {
      moxtel::fuzz::require(c >= '0' && c <= '9');
      number = number * 10 + static_cast<unsigned>(c - '0');
      continue;
    }
    moxtel::fuzz::require(number <= 255);
    for (unsigned bit = 128; bit > 0; bit /= 2) bits.push_back((number & bit) != 0);
    number = 0;
  }
  moxtel::fuzz::require(bits.size() == 32);
  return bits;
}

std::size_t prefixOf(const std::string& entry) {
  const std::size_t slash = entry.find('/');
  const std::size_t length = slash == std::string::npos ? 32 : std::stoul(entry.substr(slash + 1));
  moxtel::fuzz::require(length <= 32);
  return length;
}

bool contains(const std::string& entry, IPv4Address address) {
  const auto bits = bitsOf(entry);
  for (std::size_t i = 0; i < prefixOf(entry); ++i) {
    if (bits[i] != ((address >> (31 - i) & 1) != 0)) return false;
  }
  return true;
}

// Addresses at and around the bounds of an entry.
std::vector<IPv4Address> neighborsOf(const std::string& entry) {
  IPv4Address address = 0;
  for (const bool bit : bitsOf(entry)) address = address << 1 | (bit ? 1 : 0);
  std::vector<IPv4Address> neighbors{address, address + 1, address - 1, ~address};
  for (int bit = 0; bit < 32; ++bit) neighbors.push_back(address ^ IPv4Address{1} << bit);
  return neighbors;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const auto parsed = AddressList::parse(text);
  const auto entries = entriesOf(text);
  if (const auto* wrong = std::get_if<std::string>(&parsed)) {
    moxtel::fuzz::require(!text.empty() && text.find(*wrong) != std::string::npos);
    return 0;
  }
  const auto& list = std::get<AddressList>(parsed);
  moxtel::fuzz::require(list.empty() == entries.empty() && list.empty() == text.empty());
  for (const std::string& entry : entries) {
    for (const IPv4Address address : neighborsOf(entry)) {
      bool isInside = false;
      for (const std::string& other : entries) isInside = isInside || contains(other, address);
      moxtel::fuzz::require(list.contains(address) == isInside);
    }
  }
  return 0;
}
