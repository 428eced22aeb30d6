#include "console/StandardOutputConsoleView.h"

#include <string>

namespace moxtel {

namespace {

constexpr const char* kIndent = "    ";

}  // namespace

std::string StandardOutputConsoleView::linesOf(const ConsoleLine& line) const {
  const std::string text = line.titleRun() + line.text;
  if (kind_ == OutputKind::Plain) return prefixedLines(line.dateRun(), kIndent, text);
  return journalLines(line.isError() ? JournalPriority::Error : JournalPriority::Info, text);
}

void StandardOutputConsoleView::appendLine(const ConsoleLine& line) {
  output_.write(linesOf(line), [&](std::string_view note) {
    return linesOf({line.date, "Info", std::string(note)});
  });
}

void StandardOutputConsoleView::showTerminalPicture(std::string_view lines) {
  if (output_.isTerminal()) output_.write(lines, [](std::string_view) { return std::string(); });
}

}  // namespace moxtel
