// UTF-8 as the Unicode standard defines it (table 3-7): no overlong forms, no surrogates, nothing past
// U+10FFFF. Any thread.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

namespace moxtel {

namespace detail {

// The length of the well-formed sequence that the text begins with; 0 for none.
constexpr std::size_t utf8SequenceLength(std::string_view text) noexcept {
  const auto byte = [&](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : static_cast<unsigned char>(0);
  };
  const auto follows = [&](std::size_t i) { return (byte(i) & 0xc0) == 0x80; };
  const unsigned char first = byte(0);
  if (first < 0x80) return 1;
  if (first < 0xc2 || first > 0xf4) return 0;
  if (first < 0xe0) return follows(1) ? 2 : 0;
  if (first < 0xf0) {
    const unsigned char least = first == 0xe0 ? 0xa0 : 0x80;
    const unsigned char most = first == 0xed ? 0x9f : 0xbf;
    return byte(1) >= least && byte(1) <= most && follows(2) ? 3 : 0;
  }
  const unsigned char least = first == 0xf0 ? 0x90 : 0x80;
  const unsigned char most = first == 0xf4 ? 0x8f : 0xbf;
  return byte(1) >= least && byte(1) <= most && follows(2) && follows(3) ? 4 : 0;
}

}  // namespace detail

inline bool isUtf8(std::string_view text) noexcept {
  while (!text.empty()) {
    std::uint64_t eight = 0;
    if (text.size() >= sizeof eight) {
      std::memcpy(&eight, text.data(), sizeof eight);
      if ((eight & 0x8080808080808080U) == 0) {
        text.remove_prefix(sizeof eight);
        continue;
      }
    }
    const std::size_t length = detail::utf8SequenceLength(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

}  // namespace moxtel
