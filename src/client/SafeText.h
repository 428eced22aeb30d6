// Makes texts from an untrusted server safe for a terminal. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace moxtel {

// Removes and returns the first code point of a text that is not empty; U+FFFD for invalid UTF-8.
char32_t takeCodePoint(std::string_view& text);

// Whether a terminal acts on the character instead of showing it: C0 and C1 control characters, and the marks
// that change the direction of writing.
bool isUnprintable(char32_t codePoint);

// The text with U+FFFD for each unprintable character. Lines::Many keeps line feeds and tabs, Lines::One
// turns them into blanks.
enum class Lines : std::uint8_t { One, Many };
std::string printable(std::string_view text, Lines lines = Lines::One);

// The number of code points.
std::size_t lengthOf(std::string_view text);

}  // namespace moxtel
