#include "scripting/ScriptText.h"

#include <vector>

#include "value/Description.h"
#include "value/Format.h"

namespace moxtel {

bool isHarmlessInScript(std::string_view text) {
  if (text.find_first_of(std::string_view("\"\\\n\r\0", 5)) != std::string_view::npos) return false;
  for (const std::string_view lineBreak : {"\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9"}) {
    if (text.find(lineBreak) != std::string_view::npos) return false;
  }
  return true;
}

std::optional<std::string> filledScript(ScriptTemplate script, std::initializer_list<Value> values) {
  std::vector<FormatArgument> arguments;
  arguments.reserve(values.size());
  for (const Value& value : values) {
    if (!value.isNumber() && !isHarmlessInScript(describe(value))) return std::nullopt;
    arguments.emplace_back(value);
  }
  return formatRuntime(script.view(), std::span<const FormatArgument>(arguments));
}

}  // namespace moxtel
