#include "platform/system/SystemLog.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <mutex>

#include "platform/loop/Clock.h"
#include "platform/process/ThisProcess.h"

namespace moxtel {

namespace {

std::mutex sinkMutex;
std::shared_ptr<const SystemLogSink> currentSink;

std::shared_ptr<const SystemLogSink> sink() {
  const std::lock_guard lock(sinkMutex);
  return currentSink;
}

// A line that cannot be written is lost: there is no other place to report it.
void writeAll(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace

void writeSystemLog(std::string_view text) {
  if (const auto to = sink()) {
    (*to)(text);
    return;
  }
  std::string line = localDateAndMilliseconds(systemClock().now());
  line += ' ';
  line += processName();
  line += '[';
  line += std::to_string(::getpid());
  line += "] ";
  line += text;
  line += '\n';
  writeAll(line);
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
