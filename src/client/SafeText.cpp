#include "client/SafeText.h"

namespace moxtel {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

struct Lead {
  std::size_t following;
  char32_t bits;
  char32_t least;  // below it the same code point has a shorter form
};

Lead leadOf(unsigned char byte) {
  if (byte < 0x80) return {0, byte, 0};
  if (byte >= 0xC2 && byte < 0xE0) return {1, byte & 0x1Fu, 0x80};
  if (byte >= 0xE0 && byte < 0xF0) return {2, byte & 0x0Fu, 0x800};
  if (byte >= 0xF0 && byte < 0xF5) return {3, byte & 0x07u, 0x10000};
  return {0, kReplacement, 0};
}

bool isScalar(char32_t codePoint) {
  return codePoint <= 0x10FFFF && (codePoint < 0xD800 || codePoint > 0xDFFF);
}

}  // namespace

char32_t takeCodePoint(std::string_view& text) {
  const Lead lead = leadOf(static_cast<unsigned char>(text.front()));
  char32_t codePoint = lead.bits;
  std::size_t used = 1;
  for (; used <= lead.following; ++used) {
    const auto byte = used < text.size() ? static_cast<unsigned char>(text[used]) : 0;
    if ((byte & 0xC0) != 0x80) break;
    codePoint = (codePoint << 6) | (byte & 0x3Fu);
  }
  const bool valid = used == lead.following + 1 && codePoint >= lead.least && isScalar(codePoint);
  text.remove_prefix(valid ? used : 1);
  return valid ? codePoint : kReplacement;
}

void appendUtf8(std::string& to, char32_t codePoint) {
  const auto put = [&to](char32_t byte) { to += static_cast<char>(static_cast<unsigned char>(byte)); };
  if (codePoint < 0x80) {
    put(codePoint);
    return;
  }
  const int following = codePoint < 0x800 ? 1 : codePoint < 0x10000 ? 2 : 3;
  constexpr char32_t kLeads[] = {0, 0xC0, 0xE0, 0xF0};
  put(kLeads[following] | (codePoint >> (6 * following)));
  for (int i = following - 1; i >= 0; --i) put(0x80 | ((codePoint >> (6 * i)) & 0x3F));
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
      appendUtf8(result, isUnprintable(codePoint) ? kReplacement : codePoint);
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
