#include "console/MXSConsole.h"

#include <algorithm>

#include "log/Log.h"
#include "log/QVLog.h"
#include "platform/system/LogText.h"
#include "support/MXSVersion.h"
#include "value/Format.h"

namespace moxtel {

MXSConsole::MXSConsole(EventLoop& loop, const UserDefaults& defaults, const Clock& clock)
    : loop_(loop), defaults_(defaults), clock_(clock) {
  awakeFromNib();
}

void MXSConsole::awakeFromNib() {
  appendLine("Info", format("%@ started", MXSVersion::shortVersionString()));
  appendLine("Info", "---------------------------------------------------");
}

std::string MXSConsole::dateString() const { return localDateAndMilliseconds(clock_.now()); }

void MXSConsole::showTitle(std::string_view title, std::string_view info, OnError onError) {
  if (loop_.isCurrent()) {
    appendLine(title, info, onError);
    return;
  }
  loop_.post(
      [this, alive = std::weak_ptr(alive_), heading = std::string(title), text = std::string(info), onError] {
        if (alive.lock()) appendLine(heading, text, onError);
      });
}

void MXSConsole::showConsoleWindow() {
  for (ConsoleView* view : std::vector(views_)) view->raise();
}

void MXSConsole::appendLine(std::string_view title, std::string_view info, OnError onError) {
  // Kept on purpose: the key is read, but no sound is played.
  static_cast<void>(defaults_.boolForKey("ConsoleSoundAlert"));
  const ConsoleLine line{dateString(), printableText(title), printableText(info)};
  if (!isShown(line)) return;
  if (line.isError()) {
    if (onError == OnError::Raise) showConsoleWindow();
    appendToErrorLog(info);
  }
  show(line);
}

// Shows the notes that precede the line.
bool MXSConsole::isShown(const ConsoleLine& line) {
  if (logging::debugLevel != 0) return true;
  const auto shown = limiter_.add(line.titleRun() + line.text, std::chrono::steady_clock::now());
  showNotes(shown.notes);
  return shown.line;
}

void MXSConsole::show(const ConsoleLine& line) {
  if (views_.empty()) lines_.push_back(line);
  for (ConsoleView* view : std::vector(views_)) view->appendLine(line);
}

void MXSConsole::appendToErrorLog(std::string_view text) {
  // Without a path, errorLog() would log that it cannot open its file.
  if (defaults_.stringForKey("ErrorLogPath")) QVLog::errorLog()->appendString(text);
}

void MXSConsole::showNotes(const std::vector<std::string>& notes) {
  for (const std::string& note : notes) show({dateString(), "Info", note});
}

void MXSConsole::showPendingNotes(AtEnd atEnd) {
  showNotes(limiter_.pendingNotes(std::chrono::steady_clock::now(), atEnd));
}

void MXSConsole::addView(ConsoleView& view) {
  for (const ConsoleLine& line : lines_) view.appendLine(line);
  std::vector<ConsoleLine>().swap(lines_);
  views_.push_back(&view);
}

void MXSConsole::removeView(ConsoleView& view) { std::erase(views_, &view); }

}  // namespace moxtel
