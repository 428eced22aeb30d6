// moxtel-export without its main: reads the command line, runs the export, prints the report.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace moxtel {

class EventLoop;
class SidecarWriter;

struct ExportProgramSeams {
  std::ostream& out;
  std::ostream& err;
  bool isTerminal = false;  // err
  std::function<bool()> isCanceled = [] { return false; };
  std::string locale;  // of the user, "de_CH.UTF-8"
  // Called before the run when another program shows its messages to the user: they are translated from then
  // on.
  std::function<void()> translate = [] {};
};

// The exit status. On the loop's thread. sidecars may be null: then none are written.
int runExportProgram(EventLoop& loop, const std::vector<std::string>& arguments, SidecarWriter* sidecars,
                     const ExportProgramSeams& seams);

}  // namespace moxtel
