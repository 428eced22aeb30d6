#include "pictures/properties/TextEncodings.h"

#include "value/Utf.h"

namespace moxtel::properties {

std::string_view untilNul(std::string_view text) { return text.substr(0, text.find('\0')); }

std::string utf8OrLatin1(std::string_view text) {
  return isValidUtf8(text) ? std::string(text) : latin1(text);
}

std::string latin1(std::string_view text) {
  std::string out;
  for (const char c : text) appendUtf8(out, static_cast<unsigned char>(c));
  return out;
}

std::string utf16BigEndian(std::string_view bytes) {
  const auto unit = [&](std::size_t i) {
    return static_cast<char32_t>(static_cast<unsigned char>(bytes[i]) << 8 |
                                 static_cast<unsigned char>(bytes[i + 1]));
  };
  std::string out;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    char32_t point = unit(i);
    const bool isHigh = point >= 0xD800 && point < 0xDC00;
    if (isHigh && i + 3 < bytes.size() && unit(i + 2) >= 0xDC00 && unit(i + 2) < 0xE000) {
      point = 0x10000 + ((point - 0xD800) << 10) + (unit(i + 2) - 0xDC00);
      i += 2;
    }
    appendUtf8(out, point);
  }
  return out;
}

}  // namespace moxtel::properties
