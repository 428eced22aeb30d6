#include "value/Utf.h"

#include <cstdint>
#include <cstring>

namespace moxtel {

namespace {

// The number of bytes that follow a lead byte, and the range of the first of them (narrower than 80..BF for
// some leads, which keeps out overlong forms, surrogates and what lies above U+10FFFF).
struct Lead {
  int following = -1;  // -1: no lead byte
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
};

Lead leadOf(unsigned char byte) noexcept {
  if (byte >= 0xC2 && byte <= 0xDF) return {1};
  if (byte == 0xE0) return {2, 0xA0, 0xBF};
  if (byte == 0xED) return {2, 0x80, 0x9F};
  if (byte >= 0xE1 && byte <= 0xEF) return {2};
  if (byte == 0xF0) return {3, 0x90, 0xBF};
  if (byte >= 0xF1 && byte <= 0xF3) return {3};
  if (byte == 0xF4) return {3, 0x80, 0x8F};
  return {};
}

// Like nextCodePoint; false for ill-formed bytes, whose longest beginning of a sequence is passed over.
bool decode(std::string_view text, std::size_t& position, char32_t& codePoint) noexcept {
  const auto first = static_cast<unsigned char>(text[position++]);
  codePoint = first;
  if (first < 0x80) return true;
  Lead lead = leadOf(first);
  if (lead.following < 0) return false;
  codePoint = first & (0x3Fu >> lead.following);
  for (; lead.following > 0; --lead.following) {
    if (position == text.size()) return false;
    const auto next = static_cast<unsigned char>(text[position]);
    if (next < lead.low || next > lead.high) return false;
    codePoint = (codePoint << 6) | (next & 0x3Fu);
    lead.low = 0x80;
    lead.high = 0xBF;
    ++position;
  }
  return true;
}

}  // namespace

char32_t nextCodePoint(std::string_view text, std::size_t& position) noexcept {
  char32_t codePoint = 0;
  return decode(text, position, codePoint) ? codePoint : kReplacementCharacter;
}

void appendUtf8(std::string& out, char32_t c) {
  if ((c >= 0xD800 && c <= 0xDFFF) || c > 0x10FFFF) c = kReplacementCharacter;
  const auto continuation = [c](int shift) { return static_cast<char>(0x80 | ((c >> shift) & 0x3F)); };
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += {static_cast<char>(0xC0 | (c >> 6)), continuation(0)};
  } else if (c < 0x10000) {
    out += {static_cast<char>(0xE0 | (c >> 12)), continuation(6), continuation(0)};
  } else {
    out += {static_cast<char>(0xF0 | (c >> 18)), continuation(12), continuation(6), continuation(0)};
  }
}

bool isAscii(std::string_view text) noexcept {
  constexpr std::uint64_t kHighBits = 0x8080808080808080u;
  std::uint64_t seen = 0;
  std::size_t i = 0;
  for (; i + 8 <= text.size(); i += 8) {
    std::uint64_t eight = 0;
    std::memcpy(&eight, text.data() + i, 8);
    seen |= eight;
  }
  for (; i < text.size(); ++i) seen |= static_cast<unsigned char>(text[i]);
  return (seen & kHighBits) == 0;
}

bool isValidUtf8(std::string_view text) noexcept {
  char32_t codePoint = 0;
  for (std::size_t i = 0; i < text.size();) {
    // Most texts are ASCII, and every text of every row comes through here: eight bytes at a time.
    std::uint64_t eight = 0;
    if (text.size() - i >= sizeof eight) {
      std::memcpy(&eight, text.data() + i, sizeof eight);
      if ((eight & 0x8080808080808080U) == 0) {
        i += sizeof eight;
        continue;
      }
    }
    if (!decode(text, i, codePoint)) return false;
  }
  return true;
}

}  // namespace moxtel
