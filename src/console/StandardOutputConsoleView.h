// Prints the console's lines, for a server without windows. To a terminal or file: "date  title:  text". To
// the service manager's journal, which adds the date itself: "<6>title:  text" (errors: "<3>").
//
// The second and later lines of a text are indented, so that they do not look like lines of the console. A
// reader that does not read misses lines and keeps nothing waiting (LineOutput).
#pragma once

#include <cstdio>

#include "console/MXSConsole.h"
#include "platform/system/LineOutput.h"
#include "platform/system/ServiceManager.h"

namespace moxtel {

class StandardOutputConsoleView final : public ConsoleView {
 public:
  // Borrows the stream's descriptor, and bypasses its buffer.
  StandardOutputConsoleView() : StandardOutputConsoleView(stdout, kindOfOutput(stdout)) {}
  StandardOutputConsoleView(std::FILE* stream, OutputKind kind) : output_(::fileno(stream)), kind_(kind) {}

  void appendLine(const ConsoleLine& line) override;
  void showTerminalPicture(std::string_view lines) override;

 private:
  std::string linesOf(const ConsoleLine& line) const;

  LineOutput output_;
  const OutputKind kind_;
};

}  // namespace moxtel
