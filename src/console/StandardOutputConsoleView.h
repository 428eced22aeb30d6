// Prints the console's lines, for a server without windows: "date  title:  text" to a terminal or file; where
// the service manager's journal reads, "<6>title:  text" (errors "<3>"), for the journal stamps lines itself.
//
// Control characters are printed as \xHH: a text may come from a stranger, and a terminal obeys them. A text
// of several lines continues indented, so that none of them passes for a line of its own.
#pragma once

#include <cstdio>

#include "console/MXSConsole.h"
#include "platform/system/ServiceManager.h"

namespace moxtel {

enum class JournalPriority : unsigned char { Error = 3, Info = 6 };

// Writes a text as the journal takes it, with one call: each of its lines begins with the priority, so that
// none can claim another one, and continues indented after the first. Any thread.
void writeJournalLines(std::FILE* stream, JournalPriority priority, std::string_view text);

class StandardOutputConsoleView final : public ConsoleView {
 public:
  // Borrows the stream.
  StandardOutputConsoleView() : StandardOutputConsoleView(stdout, kindOfOutput(stdout)) {}
  StandardOutputConsoleView(std::FILE* stream, OutputKind kind) : stream_(stream), kind_(kind) {}

  // Flushed at once.
  void appendLine(const ConsoleLine& line) override;

 private:
  std::FILE* stream_;
  OutputKind kind_;
};

}  // namespace moxtel
