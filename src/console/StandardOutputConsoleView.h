// Prints the console's lines, for a server without windows. To a terminal or file: "date  title:  text". To
// the service manager's journal, which adds the date itself: "<6>title:  text" (errors: "<3>").
//
// Control characters are printed as \xHH, because texts may come from untrusted peers and terminals interpret
// them. The second and later lines of a text are indented, so that they do not look like lines of the
// console.
#pragma once

#include <cstdio>

#include "console/MXSConsole.h"
#include "platform/system/ServiceManager.h"

namespace moxtel {

enum class JournalPriority : unsigned char { Error = 3, Info = 6 };

// Writes a text in the journal's format with one call. Each of its lines begins with the priority, so that
// the text cannot set another one; lines after the first are indented. Any thread.
void writeJournalLines(std::FILE* stream, JournalPriority priority, std::string_view text);

class StandardOutputConsoleView final : public ConsoleView {
 public:
  // Borrows the stream.
  StandardOutputConsoleView() : StandardOutputConsoleView(stdout, kindOfOutput(stdout)) {}
  StandardOutputConsoleView(std::FILE* stream, OutputKind kind) : stream_(stream), kind_(kind) {}

  // Flushes the stream.
  void appendLine(const ConsoleLine& line) override;

 private:
  std::FILE* stream_;
  OutputKind kind_;
};

}  // namespace moxtel
