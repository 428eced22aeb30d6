// moxtelserverd: the server without a display. Its console is standard output.
#include <csignal>

#include "app/CommandLine.h"
#include "app/ServerProgram.h"
#include "console/StandardOutputConsoleView.h"
#include "platform/CoreLoop.h"
#include "platform/SignalWatcher.h"
#include "platform/ThisProcess.h"

int main(int argc, char** argv) {
  using namespace moxtel;
  prepareProcess();
  UserDefaults defaults(makeUserSettingsStore());
  const ProgramDescription description{
      "moxtelserverd",
      "Serves an iPhoto or Aperture library to Moxtel clients on the network, without a display."};
  const std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
  if (const auto status = takeCommandLine(description, arguments, defaults)) return *status;

  CoreLoop loop;
  StandardOutputConsoleView view;
  ServerProgram program(loop, defaults, view);
  const SignalWatcher signals({SIGTERM, SIGINT}, [&loop](int) { loop.quit(); });
  loop.post([&program] { program.start(); });
  return loop.run();
}
