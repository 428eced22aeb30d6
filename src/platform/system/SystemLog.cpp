#include "platform/system/SystemLog.h"

#include <unistd.h>

#include <algorithm>
#include <exception>
#include <mutex>

#include "platform/loop/Clock.h"
#include "platform/process/ThisProcess.h"
#include "platform/system/LineLimiter.h"
#include "platform/system/LineOutput.h"
#include "platform/system/ServiceManager.h"

namespace moxtel {

namespace {

std::mutex sinkMutex;
std::shared_ptr<const SystemLogSink> currentSink;

std::shared_ptr<const SystemLogSink> sink() {
  const std::lock_guard lock(sinkMutex);
  return currentSink;
}

std::string stamped(std::string_view text) {
  std::string line = localDateAndMilliseconds(systemClock().now());
  line += ' ';
  line += processName();
  line += '[';
  line += std::to_string(::getpid());
  line += "] ";
  line += text;
  line += '\n';
  return line;
}

class StandardError final {
 public:
  void write(std::string_view text) {
    const std::lock_guard lock(mutex_);
    if (!isLimited_) {
      put(text);
      return;
    }
    const LineLimiter::Shown shown = limiter_.add(text, std::chrono::steady_clock::now());
    for (const std::string& note : shown.notes) put(note);
    if (shown.line) put(text);
  }
  void writePendingNotes(AtEnd atEnd) {
    const std::lock_guard lock(mutex_);
    const auto now = std::chrono::steady_clock::now();
    for (const std::string& note : limiter_.pendingNotes(now, atEnd)) put(note);
  }
  void setLimited(bool limited) {
    const std::lock_guard lock(mutex_);
    isLimited_ = limited;
  }

 private:
  // The journal adds the date itself.
  std::string linesOf(std::string_view text) const {
    return kind_ == OutputKind::Journal ? journalLines(JournalPriority::Info, text) : stamped(text);
  }
  void put(std::string_view text) {
    output_.write(linesOf(text), [this](std::string_view note) { return linesOf(note); });
  }

  std::mutex mutex_;
  const OutputKind kind_ = kindOfOutput(stderr);
  bool isLimited_ = true;
  LineLimiter limiter_;
  LineOutput output_{STDERR_FILENO};
};

// Never destroyed: threads may log until the process ends.
StandardError& standardError() {
  static StandardError* const kOutput = new StandardError;
  return *kOutput;
}

}  // namespace

void writeSystemLog(std::string_view text) {
  const std::string printable = printableText(text);
  if (const auto to = sink()) {
    (*to)(printable);
  } else {
    standardError().write(printable);
  }
}

void limitSystemLog(bool limited) { standardError().setLimited(limited); }

void writePendingNotesOfSystemLog(AtEnd atEnd) { standardError().writePendingNotes(atEnd); }

void setSystemLogSink(SystemLogSink newSink) {
  auto next = newSink ? std::make_shared<const SystemLogSink>(std::move(newSink)) : nullptr;
  const std::lock_guard lock(sinkMutex);
  currentSink = std::move(next);
}

bool runLogged(const std::function<void()>& task) {
  try {
    task();
    return true;
  } catch (const std::exception& exception) {
    NSLog("uncaught exception: %s", exception.what());
  } catch (...) {
    NSLog("uncaught exception");
  }
  return false;
}

struct SystemLogCapture::Lines {
  std::mutex mutex;
  std::vector<std::string> lines;
};

SystemLogCapture::SystemLogCapture() : lines_(std::make_shared<Lines>()) {
  setSystemLogSink([lines = lines_](std::string_view text) {
    const std::lock_guard lock(lines->mutex);
    lines->lines.emplace_back(text);
  });
}

SystemLogCapture::~SystemLogCapture() { setSystemLogSink({}); }

std::vector<std::string> SystemLogCapture::lines() const {
  const std::lock_guard lock(lines_->mutex);
  return lines_->lines;
}

bool SystemLogCapture::contains(std::string_view line) const {
  const auto all = lines();
  return std::find(all.begin(), all.end(), line) != all.end();
}

}  // namespace moxtel
