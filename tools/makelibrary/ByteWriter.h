// Writes numbers as bytes, for file formats.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace moxtel::makelibrary {

inline std::string littleEndian(std::uint64_t value, int bytes) {
  std::string out;
  for (int i = 0; i < bytes; ++i) out += static_cast<char>(value >> (8 * i));
  return out;
}

inline std::string bigEndian(std::uint64_t value, int bytes) {
  std::string out;
  for (int i = bytes - 1; i >= 0; --i) out += static_cast<char>(value >> (8 * i));
  return out;
}

}  // namespace moxtel::makelibrary
