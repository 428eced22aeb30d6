#include "client/SafeText.h"

#include "value/Utf.h"

namespace moxtel {

char32_t takeCodePoint(std::string_view& text) {
  std::size_t position = 0;
  const char32_t codePoint = nextCodePoint(text, position);
  text.remove_prefix(position);
  return codePoint;
}

bool isUnprintable(char32_t codePoint) {
  return codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0) ||
         (codePoint >= 0x202A && codePoint <= 0x202E) || (codePoint >= 0x2066 && codePoint <= 0x2069) ||
         codePoint == 0x200E || codePoint == 0x200F || codePoint == 0x2028 || codePoint == 0x2029;
}

std::string printable(std::string_view text, Lines lines) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const char32_t codePoint = takeCodePoint(text);
    if (codePoint == '\n' || codePoint == '\t') {
      appendUtf8(result, lines == Lines::Many ? codePoint : ' ');
    } else {
      appendUtf8(result, isUnprintable(codePoint) ? kReplacementCharacter : codePoint);
    }
  }
  return result;
}

std::size_t lengthOf(std::string_view text) {
  std::size_t count = 0;
  for (; !text.empty(); ++count) takeCodePoint(text);
  return count;
}

}  // namespace moxtel
