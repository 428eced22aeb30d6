// The two log texts about a failed script, which the queue and the queries share.
#pragma once

#include <string_view>

#include "platform/applications/ScriptRunner.h"
#include "value/Value.h"

namespace moxtel {

// The platform's error dictionary.
inline Value errorDictionary(const ScriptError& error) {
  return Dictionary{{"NSAppleScriptErrorMessage", error.text}, {"NSAppleScriptErrorNumber", error.number}};
}

// The text says "did not compile" for every failure, also for one while the script ran.
void logScriptDidNotCompile(std::string_view source, const ScriptError& error);

}  // namespace moxtel
