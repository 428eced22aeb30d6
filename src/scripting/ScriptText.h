// Fills values into AppleScript texts. Every script is made here, so that no text from an untrusted peer can
// become code.
#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "value/Value.h"

namespace moxtel {

// A script with the places "%@" (inside double quotes, or one of this program's own words), %ld and %lf.
// Literals of this program only.
class ScriptTemplate final {
 public:
  consteval ScriptTemplate(const char* text) : text_(text) {}  // NOLINT
  constexpr std::string_view view() const { return text_; }

 private:
  std::string_view text_;
};

// Whether a text may be put between a script's double quotes: it contains no double quote, no backslash, no
// line break (line feed, carriage return, next line, line and paragraph separator) and no NUL.
bool isHarmlessInScript(std::string_view text);

// The script, or nothing when a text value could break out of its quotes. Texts are inserted unchanged, nil
// as "(null)", numbers by their place: %ld as 64 bits, %lf with six decimals.
std::optional<std::string> filledScript(ScriptTemplate script, std::initializer_list<Value> values);

}  // namespace moxtel
