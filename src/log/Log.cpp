#include "log/Log.h"

#include <array>
#include <memory>
#include <mutex>

#include "log/QVLog.h"
#include "platform/system/SystemLog.h"

namespace moxtel {

namespace logging {
std::atomic<std::int32_t> debugLevel{0};
}  // namespace logging

namespace {

constexpr double kNoMessageYet = -1.0;
constexpr double kPause = 1.0;  // seconds
constexpr std::string_view kSeparator = "\n\n---- time goes by, so slowly ... ----\n\n";
constexpr std::int32_t kToDebugLog = 1;
constexpr std::int32_t kErrorsToSystemLog = 2;

enum Kind : std::size_t { Access, Debug, Error, IO, Count };
constexpr std::array<std::string_view, Count> kPathKeys{"AccessLogPath", "DebugLogPath", "ErrorLogPath",
                                                        "IOLogPath"};

// What the logging functions share, guarded by its mutex.
struct LogState {
  std::mutex mutex;
  const UserDefaults* defaults = nullptr;
  const Clock* clock = &systemClock();
  double lastMessage = kNoMessageYet;
  std::array<std::shared_ptr<QVLog>, Count> logs;

  std::shared_ptr<QVLog> log(Kind kind) {
    if (!logs[kind]) {
      const auto path = defaults ? defaults->stringForKey(kPathKeys[kind]) : std::nullopt;
      logs[kind] = std::make_shared<QVLog>(path, *clock);
    }
    return logs[kind];
  }
};

// Never destroyed: threads may log until the process ends.
LogState& logState() {
  static LogState* const kState = new LogState;
  return *kState;
}

std::shared_ptr<QVLog> sharedLog(Kind kind) {
  const std::lock_guard lock(logState().mutex);
  return logState().log(kind);
}

}  // namespace

void setDebugLevel(std::int32_t level) {
  logging::debugLevel = level;
  limitSystemLog(level == 0);
}

void setUpLogging(const UserDefaults& defaults, const Clock& clock) {
  LogState& all = logState();
  const std::lock_guard lock(all.mutex);
  all.defaults = &defaults;
  all.clock = &clock;
  all.lastMessage = kNoMessageYet;
  all.logs = {};
}

std::shared_ptr<QVLog> QVLog::debugLog() { return sharedLog(Debug); }
std::shared_ptr<QVLog> QVLog::errorLog() { return sharedLog(Error); }
std::shared_ptr<QVLog> QVLog::accessLog() { return sharedLog(Access); }
std::shared_ptr<QVLog> QVLog::ioLog() { return sharedLog(IO); }

namespace logging {

void writeDebug(std::string_view format, std::span<const FormatArgument> arguments, bool dropNewline) {
  if (dropNewline && format.ends_with('\n')) format.remove_suffix(1);
  const std::string message = logLine(format, arguments);
  const bool toFile = debugLevel == kToDebugLog;
  LogState& all = logState();
  // Held to the end, so that no other message comes between the separator and the message after the pause.
  const std::lock_guard lock(all.mutex);
  const Date now = all.clock->now();
  const bool afterPause = all.lastMessage > 0.0 && now.seconds - all.lastMessage > kPause;
  all.lastMessage = now.seconds;
  const auto write = [&](std::string_view text) {
    if (toFile) {
      all.log(Debug)->appendString(text);
    } else {
      writeSystemLog(text);
    }
  };
  if (afterPause) write(kSeparator);
  write(toFile ? localDateAndMilliseconds(now) + " Ulmo2[:] " + message : message);
}

void writeError(std::string_view format, std::span<const FormatArgument> arguments) {
  const std::string message = logLine(format, arguments);
  if (debugLevel >= kErrorsToSystemLog) {
    writeSystemLog(message);
  } else {
    QVLog::errorLog()->appendString(message);
  }
}

}  // namespace logging

}  // namespace moxtel
