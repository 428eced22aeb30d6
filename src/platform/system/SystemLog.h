// The system log, for lines that developers must always see. It is standard error; each line has the date and
// time in milliseconds, the process name and the process identifier:
//
//     2016-07-12 09:05:03.250 moxtelserverd[1234] text
//
// In the service manager's journal, which adds the date itself, it is "<6>text".
//
// Any thread. Lines of two threads do not mix. Control characters are escaped (printableText). A text that is
// an argument is cut and stays on one line (loggedText); a text is never a format string. Unless
// limitSystemLog(false) was called, lines that are equal or too many are counted instead (LineLimiter). A
// reader that does not read misses lines, and keeps nothing waiting (LineOutput).
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/system/LineLimiter.h"
#include "platform/system/LogText.h"
#include "value/Format.h"

namespace moxtel {

void writeSystemLog(std::string_view text);

template <class... Arguments>
void NSLog(FormatString<Arguments...> text, const Arguments&... arguments) {
  if constexpr (sizeof...(Arguments) == 0) {
    writeSystemLog(formatRuntime(text.view()));
  } else {
    const FormatArgument list[] = {FormatArgument(arguments)...};
    writeSystemLog(logLine(text.view(), list));
  }
}

// A line on standard output, without a date, for texts that scripts may wait for. It has the same limits as a
// line of the system log, and its reader keeps nothing waiting either.
void writeStandardOutput(std::string_view text);

// Whether untrusted peers may fill standard error, and standard output, only so fast. True at the start.
void limitSystemLog(bool limited);
// Writes the counts of lines left out since the last line. To be called from time to time, and at the end.
void writePendingNotesOfSystemLog(AtEnd atEnd);

// Where lines go instead of standard error, all of them; an empty function restores that. For tests and for a
// program that prints lines as its result. Set it before other threads log.
using SystemLogSink = std::function<void(std::string_view text)>;
void setSystemLogSink(SystemLogSink sink);

// Runs a task; an exception that leaves it is logged as "uncaught exception: …" and ends here. False in that
// case.
bool runLogged(const std::function<void()>& task);

// Collects the lines logged while it lives, for tests. One at a time.
class SystemLogCapture final {
 public:
  SystemLogCapture();
  ~SystemLogCapture();
  SystemLogCapture(const SystemLogCapture&) = delete;
  SystemLogCapture& operator=(const SystemLogCapture&) = delete;
  std::vector<std::string> lines() const;
  bool contains(std::string_view line) const;

 private:
  struct Lines;
  std::shared_ptr<Lines> lines_;
};

}  // namespace moxtel
