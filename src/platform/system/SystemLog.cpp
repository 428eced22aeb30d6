#include "platform/system/SystemLog.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
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

class LimitedOutput final {
 public:
  using LinesOf = std::string (*)(OutputKind kind, std::string_view text);
  // linesOf makes whole lines, each with its newline, of a text.
  LimitedOutput(std::FILE* stream, LinesOf linesOf)
      : kind_(kindOfOutput(stream)), linesOf_(linesOf), output_(::fileno(stream)) {}

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
  void put(std::string_view text) {
    output_.write(linesOf_(kind_, text), [this](std::string_view note) { return linesOf_(kind_, note); });
  }

  std::mutex mutex_;
  const OutputKind kind_;
  const LinesOf linesOf_;
  bool isLimited_ = true;
  LineLimiter limiter_;
  LineOutput output_;
};

// The journal adds the date itself.
std::string linesOfLog(OutputKind kind, std::string_view text) {
  return kind == OutputKind::Journal ? journalLines(JournalPriority::Info, text) : stamped(text);
}

std::string linesWithoutDate(OutputKind kind, std::string_view text) {
  return kind == OutputKind::Journal ? journalLines(JournalPriority::Info, text) : std::string(text) + '\n';
}

// Never destroyed: threads may log until the process ends.
LimitedOutput& standardError() {
  static LimitedOutput* const kOutput = new LimitedOutput(stderr, linesOfLog);
  return *kOutput;
}

LimitedOutput& standardOutput() {
  static LimitedOutput* const kOutput = new LimitedOutput(stdout, linesWithoutDate);
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

void writeStandardOutput(std::string_view text) { standardOutput().write(printableText(text)); }

void limitSystemLog(bool limited) {
  standardError().setLimited(limited);
  standardOutput().setLimited(limited);
}

void writePendingNotesOfSystemLog(AtEnd atEnd) {
  standardError().writePendingNotes(atEnd);
  standardOutput().writePendingNotes(atEnd);
}

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
