// Reads what an AppleScript interpreter prints: a result in source form ("osascript -s s") and its error
// messages.
//
//     "text with \"quotes\""      {"a", "b", {1, 2}}      17      4.294967396E+9      true      missing value
//
// Bounded: lists nest at most kDeepestScriptList deep. Anything that is not a literal of these kinds (an
// object reference, a date) becomes the printed text.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/applications/ScriptRunner.h"
#include "value/Value.h"

namespace moxtel {

inline constexpr std::size_t kDeepestScriptList = 64;

// The printed result: nil for nothing and for "missing value", a text, an integer, a real, a boolean, or an
// array. Large integers, which AppleScript prints as reals, become integers. Never fails: a text that is
// truncated in the middle of a list or literal ends there.
Value scriptResultValue(std::string_view printed);

// What an interpreter printed about its failure: without blanks around it, and cut after
// kLongestScriptErrorText bytes, with a "…" at the end then.
inline constexpr std::size_t kLongestScriptErrorText = 4096;
std::string scriptErrorText(std::string_view printed);

// "0:17: execution error: iPhoto got an error: Can't get album id 5. (-1728)": number -1728 and the whole
// text, as long as above.
ScriptError scriptErrorFrom(std::string_view printed, int exitStatus);

}  // namespace moxtel
