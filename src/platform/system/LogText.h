// Text of untrusted origin (network peers, libraries, scripts) for log lines and console lines. Any thread.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "value/Format.h"
#include "value/Value.h"

namespace moxtel {

// Characters of one text that a line shows.
inline constexpr std::size_t kLongestLoggedText = 500;

// At most 500 characters of the text; "…" follows where more were cut off. A line feed becomes \x0a, so that
// the rest of the text does not look like another line.
std::string loggedText(std::string_view text);

// The same for each line of a text of several lines.
std::string loggedLines(std::string_view text);

// The same of a value's description; that of an array or a dictionary keeps its lines.
std::string loggedValue(const Value& value);

// Control characters except line feed and tab, C1 controls, bidirectional marks, line and paragraph
// separators and bytes that are not UTF-8, each byte as \xHH: terminals and windows would interpret them.
std::string printableText(std::string_view text);

// A line of the log: as formatRuntime(), with loggedValue() of each argument that is a text, an array or a
// dictionary. A line that is to be complete is made by format() instead.
std::string logLine(std::string_view format, std::span<const FormatArgument> arguments);

}  // namespace moxtel
