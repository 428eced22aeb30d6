// Texts from a stranger's server on their way to a terminal or into JSON. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace moxtel {

// Takes the first code point off a text that is not empty; what is no valid UTF-8 comes as U+FFFD.
char32_t takeCodePoint(std::string_view& text);

// Whether a terminal would do something else with it than show it: control characters of both sets and the
// marks that turn the direction of writing round.
bool isUnprintable(char32_t codePoint);

// The text with U+FFFD for everything that is not printable; line feeds and tabs stay if asked for, else they
// become blanks.
enum class Lines : std::uint8_t { One, Many };
std::string printable(std::string_view text, Lines lines = Lines::One);

// The number of code points.
std::size_t lengthOf(std::string_view text);

}  // namespace moxtel
