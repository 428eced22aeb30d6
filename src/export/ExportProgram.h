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
};

// The exit status. On the loop's thread. sidecars may be null: then none are written.
int runExportProgram(EventLoop& loop, const std::vector<std::string>& arguments, SidecarWriter* sidecars,
                     const ExportProgramSeams& seams);

}  // namespace moxtel
