// MXSVersion: the product's version, as "Get Version" reports it and the console's banner shows it. Any
// thread.
#pragma once

#include <cstdint>
#include <string>

namespace moxtel {

class MXSVersion final {
 public:
  MXSVersion() = delete;

  static constexpr std::int64_t majorVersion() { return 1; }
  static constexpr std::int64_t minorVersion() { return 4; }
  static constexpr std::int64_t buildVersion() { return 402; }

  // "Version 1.4 build 402 released 2016-07-12", its two formats ("Version %@ released %@", "%Y-%m-%d")
  // looked up in the string table.
  static std::string versionString();
  // "MoxtelServer 1.4 (402)", in every language.
  static std::string shortVersionString();
};

}  // namespace moxtel
