// The output of a script interpreter, which may run on another machine: any bytes, read as a result and as an
// error.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/applications/ScriptResult.h"

namespace {

std::size_t depthOf(const moxtel::Value& value) {
  std::size_t deepest = 0;
  for (const auto& item : value.array()) deepest = std::max(deepest, depthOf(item));
  return deepest + (value.isArray() ? 1 : 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (depthOf(moxtel::scriptResultValue(text)) > moxtel::kDeepestScriptList) std::abort();
  if (moxtel::scriptErrorFrom(text, 1).text.empty()) std::abort();
  return 0;
}
