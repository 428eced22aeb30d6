// The system log, for lines that developers must always see. It is standard error; each line has the date and
// time in milliseconds, the process name and the process identifier:
//
//     2016-07-12 09:05:03.250 moxtelserverd[1234] text
//
// Any thread. A line is written with one call, so lines of two threads do not mix. Control characters in
// the text are kept; a text is never a format string.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "value/Format.h"

namespace moxtel {

void writeSystemLog(std::string_view text);

template <class... Arguments>
void NSLog(FormatString<Arguments...> text, const Arguments&... arguments) {
  writeSystemLog(formatRuntime(text.view(), arguments...));
}

// Where lines go instead of standard error; an empty function restores that. For tests and for the service
// journal. Set it before other threads log.
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
