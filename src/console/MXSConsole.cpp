#include "console/MXSConsole.h"

#include <algorithm>

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

void MXSConsole::showTitle(std::string_view title, std::string_view info) {
  if (loop_.isCurrent()) {
    appendLine(title, info);
    return;
  }
  loop_.post([this, alive = std::weak_ptr(alive_), heading = std::string(title), text = std::string(info)] {
    if (alive.lock()) appendLine(heading, text);
  });
}

void MXSConsole::showConsoleWindow() {
  for (ConsoleView* view : std::vector(views_)) view->raise();
}

void MXSConsole::appendLine(std::string_view title, std::string_view info) {
  // Kept on purpose: the key is read, but no sound is played.
  static_cast<void>(defaults_.boolForKey("ConsoleSoundAlert"));
  const ConsoleLine line{dateString(), std::string(title), std::string(info)};
  if (line.isError()) showConsoleWindow();
  if (views_.empty()) lines_.push_back(line);
  for (ConsoleView* view : std::vector(views_)) view->appendLine(line);
}

void MXSConsole::addView(ConsoleView& view) {
  for (const ConsoleLine& line : lines_) view.appendLine(line);
  std::vector<ConsoleLine>().swap(lines_);
  views_.push_back(&view);
}

void MXSConsole::removeView(ConsoleView& view) { std::erase(views_, &view); }

}  // namespace moxtel
