// The state of the page for browsers, which the windows show. A value.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace moxtel {

// A device that looks at the page.
struct WebDevice {
  std::string address;     // IPv4, dotted quad
  std::string library;     // the name of the library that it looked at last; empty: none yet
  std::int64_t since = 0;  // its first request, in seconds since 1970-01-01 UTC
  friend bool operator==(const WebDevice&, const WebDevice&) = default;
};

struct WebStatus {
  bool isOn = false;                // a page is wanted
  std::vector<std::string> places;  // addresses of the page, "http://192.168.1.5:4251/"; the best one first
  std::string keyAddress;  // the address in the QR code; empty where no key is needed or nothing listens
  std::string digits;      // empty where none are needed
  std::vector<WebDevice> devices;
  std::string access;   // "key", "open" or "off"; empty until it is known
  std::string problem;  // why the page cannot be reached, for the user
  friend bool operator==(const WebStatus&, const WebStatus&) = default;
};

}  // namespace moxtel
