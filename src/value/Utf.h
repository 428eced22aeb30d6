// Decodes and encodes UTF-8, for the archive (UTF-16), the log (escapes) and XML. Any thread; throws nothing
// but std::bad_alloc.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace moxtel {

inline constexpr char32_t kReplacementCharacter = 0xFFFD;

// The code point at the position, which moves past it; the position lies inside the text. Ill-formed bytes
// give U+FFFD once for each longest beginning of a sequence, as the Unicode Standard recommends.
char32_t nextCodePoint(std::string_view text, std::size_t& position) noexcept;

// Appends the code point's UTF-8 form; surrogates and what lies above U+10FFFF become U+FFFD.
void appendUtf8(std::string& out, char32_t codePoint);

bool isAscii(std::string_view text) noexcept;
bool isValidUtf8(std::string_view text) noexcept;

}  // namespace moxtel
