// LogDebug, LogError and LogDebugC: the logging functions of the system, routed by one debug level.
//
//   level     LogDebug, LogDebugC                       LogError
//   0         nothing                                   error log file
//   1         debug log file, with a time stamp         error log file
//   2 …       system log                                system log
//   negative  system log                                error log file
//
// The two tests of the level differ on purpose: LogDebug tests for 0, then for exactly 1; LogError for
// below 2. More than a second between two debug messages puts a separator line between them. Any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <span>
#include <string_view>

#include "platform/loop/Clock.h"
#include "platform/settings/UserDefaults.h"
#include "value/Format.h"

namespace moxtel {

namespace logging {
extern std::atomic<std::int32_t> debugLevel;
void writeDebug(std::string_view format, std::span<const FormatArgument> arguments, bool dropNewline);
void writeError(std::string_view format, std::span<const FormatArgument> arguments);
}  // namespace logging

// Set once, at the application delegate's initialization. The system log is limited at level 0.
void setDebugLevel(std::int32_t level);

// Sets the user defaults with the paths of the logs ("DebugLogPath" …), and the clock for time stamps and
// separators. Both are borrowed for the life of the process. Call it before the first message: it closes the
// logs that are open and forgets the time of the last message.
void setUpLogging(const UserDefaults& defaults, const Clock& clock = systemClock());

template <class... Arguments>
void LogDebug(FormatString<Arguments...> format, const Arguments&... arguments) {
  if (logging::debugLevel.load(std::memory_order_relaxed) == 0) return;
  if constexpr (sizeof...(Arguments) == 0) {
    logging::writeDebug(format.view(), {}, false);
  } else {
    const FormatArgument list[] = {FormatArgument(arguments)...};
    logging::writeDebug(format.view(), list, false);
  }
}

// As LogDebug, without one newline at the end of the format.
template <class... Arguments>
void LogDebugC(FormatString<Arguments...> format, const Arguments&... arguments) {
  if (logging::debugLevel.load(std::memory_order_relaxed) == 0) return;
  if constexpr (sizeof...(Arguments) == 0) {
    logging::writeDebug(format.view(), {}, true);
  } else {
    const FormatArgument list[] = {FormatArgument(arguments)...};
    logging::writeDebug(format.view(), list, true);
  }
}

template <class... Arguments>
void LogError(FormatString<Arguments...> format, const Arguments&... arguments) {
  if constexpr (sizeof...(Arguments) == 0) {
    logging::writeError(format.view(), {});
  } else {
    const FormatArgument list[] = {FormatArgument(arguments)...};
    logging::writeError(format.view(), list);
  }
}

}  // namespace moxtel
