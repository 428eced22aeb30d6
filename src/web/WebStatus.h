// The state of the page for browsers, which the windows show. A value.
#pragma once

#include <string>
#include <vector>

namespace moxtel {

struct WebStatus {
  bool isOn = false;                // a page is wanted
  std::vector<std::string> places;  // addresses of the page, "http://192.168.1.5:4251/"; the best one first
  std::string keyAddress;  // the address in the QR code; empty where no key is needed or nothing listens
  std::string digits;      // empty where none are needed
  std::string problem;     // why the page cannot be reached, for the user
  friend bool operator==(const WebStatus&, const WebStatus&) = default;
};

}  // namespace moxtel
