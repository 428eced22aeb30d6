#include "client/SafeText.h"

#include "value/Utf.h"

namespace moxtel {

namespace {

// All unprintable characters have up to four hexadecimal digits.
void appendEscape(std::string& out, char32_t codePoint) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  out += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) out += kDigits[(codePoint >> shift) & 15];
}

void appendPrintable(std::string& out, char32_t codePoint, Lines lines) {
  if (codePoint == '\n' || codePoint == '\t') {
    out += lines == Lines::Many ? static_cast<char>(codePoint) : ' ';
  } else if (isUnprintable(codePoint)) {
    appendEscape(out, codePoint);
  } else {
    appendUtf8(out, codePoint);
  }
}

}  // namespace

char32_t takeCodePoint(std::string_view& text) {
  std::size_t position = 0;
  const char32_t codePoint = nextCodePoint(text, position);
  text.remove_prefix(position);
  return codePoint;
}

bool isUnprintable(char32_t codePoint) {
  return codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0) || codePoint == 0x061C ||
         (codePoint >= 0x200B && codePoint <= 0x200F) || (codePoint >= 0x2028 && codePoint <= 0x202E) ||
         (codePoint >= 0x2066 && codePoint <= 0x2069);
}

std::string printable(std::string_view text, Lines lines) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) appendPrintable(result, takeCodePoint(text), lines);
  return result;
}

std::string printableCut(std::string_view text, std::size_t length) {
  std::string result;
  std::size_t beforeLast = 0;
  for (std::size_t have = 0; !text.empty();) {
    std::string next;
    appendPrintable(next, takeCodePoint(text), Lines::One);
    have += lengthOf(next);
    if (have > length) return result.substr(0, beforeLast) + "…";
    result += next;
    if (have < length) beforeLast = result.size();
  }
  return result;
}

std::size_t lengthOf(std::string_view text) {
  std::size_t count = 0;
  for (; !text.empty(); ++count) takeCodePoint(text);
  return count;
}

}  // namespace moxtel
