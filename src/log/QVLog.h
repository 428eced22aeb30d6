// QVLog: one log file, to which lines are appended in pure ASCII, each written at once. Control characters
// except line feed and tab are escaped as \ooo. A line that cannot be written is dropped and counted
// (LineOutput).
//
// The four shared logs are created on first use from the path in the user defaults ("AccessLogPath",
// "DebugLogPath", "ErrorLogPath", "IOLogPath"; see setUpLogging) and kept for the life of the process, even
// if the file could not be opened: then one line on the system log says so, and appended lines are lost.
// Any thread.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/files/FileDescriptor.h"
#include "platform/loop/Clock.h"
#include "platform/system/LineOutput.h"

namespace moxtel {

// 7-bit characters as they are, a backslash doubled, U+0080 to U+00FF as \ooo (three octal digits),
// everything else as \uxxxx per UTF-16 unit. Malformed UTF-8 counts as U+FFFD.
std::string nonLossyASCII(std::string_view text);

class QVLog final {
 public:
  static std::shared_ptr<QVLog> debugLog();
  static std::shared_ptr<QVLog> errorLog();

  // Opens the file for appending and creates it if needed. A path that is missing or not ASCII cannot be
  // opened. The clock is borrowed.
  explicit QVLog(const std::optional<std::string>& pathname, const Clock& clock = systemClock());

  // Appends the text, up to its first NUL, and a newline. True iff the line was written.
  bool appendString(std::string_view text);

  // Kept for completeness: no part of the server calls the following operations.
  static std::shared_ptr<QVLog> accessLog();
  static std::shared_ptr<QVLog> ioLog();
  // As appendString after "yyyy-MM-dd HH:mm:ss.SSS: ", the current local time.
  bool logString(std::string_view text);
  // As appendString, in the format of system log lines: "yyyy-MM-dd HH:mm:ss.SSS Ulmo2[process id]: ".
  bool nslogString(std::string_view text);

 private:
  const Clock& clock_;
  const FileDescriptor file_;
  LineOutput output_;
};

}  // namespace moxtel
