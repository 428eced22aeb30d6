#include "scripting/ScriptErrors.h"

#include "platform/system/SystemLog.h"

namespace moxtel {

void logScriptDidNotCompile(std::string_view source, const ScriptError& error) {
  writeSystemLog(format("AppleScript did not compile: \n------------------\n%@\n-----------\n\nError: %@",
                        loggedLines(source), errorDictionary(error)));
}

}  // namespace moxtel
