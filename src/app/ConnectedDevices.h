// The devices that are connected at present, of both kinds. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "app/ServerStatus.h"

namespace moxtel {

struct ConnectedDevice {
  enum class Kind : std::uint8_t { Handheld, Browser };
  Kind kind = Kind::Handheld;
  std::string name;        // of the host, or its address
  std::string library;     // what it looks at; empty: not known yet
  std::int64_t since = 0;  // seconds since 1970-01-01 UTC
  friend bool operator==(const ConnectedDevice&, const ConnectedDevice&) = default;
};

// The handheld first, then the browsers in the order in which they came.
std::vector<ConnectedDevice> connectedDevices(const ServerStatus& status);

// "ipad, 192.168.1.7"
std::string namesOf(const std::vector<ConnectedDevice>& devices);

}  // namespace moxtel
