// Makes texts from an untrusted server safe for a terminal. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace moxtel {

// Removes and returns the first code point of a text that is not empty; U+FFFD for invalid UTF-8.
char32_t takeCodePoint(std::string_view& text);

// Whether a terminal acts on the character instead of showing it, or shows nothing: C0 and C1 control
// characters, the marks that change the direction of writing, and characters without width.
bool isUnprintable(char32_t codePoint);

// The text with an escape (\u200b) for each unprintable character, and U+FFFD for invalid UTF-8. Lines::Many
// keeps line feeds and tabs, Lines::One turns them into blanks.
enum class Lines : std::uint8_t { One, Many };
std::string printable(std::string_view text, Lines lines = Lines::One);

// The printable text on one line, cut to this many code points; the last one is then "…". Reads no more of
// the text than that.
std::string printableCut(std::string_view text, std::size_t length);

// The number of code points.
std::size_t lengthOf(std::string_view text);

}  // namespace moxtel
