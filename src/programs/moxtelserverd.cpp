// moxtelserverd: the server without a display. Its console is standard output.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>

#include "app/CommandLine.h"
#include "app/MXPAppDelegate.h"
#include "app/ServerCheck.h"
#include "app/ServerProgram.h"
#include "app/ServiceOptions.h"
#include "console/StandardOutputConsoleView.h"
#include "dnssd/SystemDnsSd.h"
#include "net/QVSocketServer.h"
#include "platform/loop/CoreLoop.h"
#include "platform/loop/SignalWatcher.h"
#include "platform/process/ThisProcess.h"
#include "platform/system/ServiceManager.h"
#include "platform/system/SystemLog.h"
#include "platform/system/Watchdog.h"

namespace moxtel {
namespace {

// What remains on the core thread when everything that can be stopped is stopped, such as decoding a large
// JPEG, is not waited for longer.
constexpr std::chrono::milliseconds kTimeToEnd{1500};

constexpr int kUsageStatus = 2;

// Logs the folder tree to standard output, for developers. The exit status.
int logFolders(CoreLoop& loop, ServerProgram& program) {
  loop.post([&] {
    setSystemLogSink([](std::string_view text) { std::cout << text << '\n'; });
    const std::string why = program.delegate().logFolderTree();
    if (!why.empty()) std::cerr << "moxtelserverd: " << why << '\n';
    loop.quit(why.empty() ? 0 : 1);
  });
  return loop.run();
}

// Prints the events and albums of the library as a tree. The exit status.
int printFolders(CoreLoop& loop, ServerProgram& program) {
  loop.post([&] {
    setSystemLogSink([](std::string_view) {});  // for developers
    const std::string outline = program.delegate().describeFolders();
    std::cout << outline;
    if (outline.empty()) std::cerr << "moxtelserverd: " << program.delegate().whyNoData() << '\n';
    loop.quit(outline.empty() ? 1 : 0);
  });
  return loop.run();
}

// Starts to serve. A service that cannot serve ends, and its manager starts it again.
void start(CoreLoop& loop, ServerProgram& program) {
  program.start();
  if (!hasServiceManager()) return;
  if (program.delegate().isServing()) {
    notifyServiceManager("READY=1");
  } else {
    loop.quit(EXIT_FAILURE);
  }
}

// Prints what is in a smart album, and why. The exit status.
int explainAlbum(CoreLoop& loop, ServerProgram& program, const std::string& uuid) {
  loop.post([&] {
    setSystemLogSink([](std::string_view) {});  // for developers
    const MXPAppDelegate::AlbumExplanation explanation = program.delegate().explainAlbum(uuid);
    std::cout << explanation.text;
    if (!explanation.problem.empty()) std::cerr << "moxtelserverd: " << explanation.problem << '\n';
    loop.quit(explanation.problem.empty() ? 0 : 1);
  });
  return loop.run();
}

// Tries everything that serving needs. The exit status.
int checkServer(CoreLoop& loop, UserDefaults& defaults) {
  setSystemLogSink([](std::string_view) {});  // for developers
  MXPAppDelegate::initialize(defaults);
  const auto discovery = makeSystemDnsSd(loop);
  ServerCheck check(loop, defaults, discovery.get(), std::cout);
  loop.post([&] { check.start([&](bool isGood) { loop.quit(isGood ? EXIT_SUCCESS : EXIT_FAILURE); }); });
  return loop.run();
}

// Removes an option and its value from the arguments. Nothing without the option; an option at the end has an
// empty value.
std::optional<std::string> takeOption(const std::string& option, std::vector<std::string>& arguments) {
  const auto found = std::find(arguments.begin(), arguments.end(), option);
  if (found == arguments.end()) return std::nullopt;
  const auto next = arguments.erase(found);
  if (next == arguments.end()) return std::string();
  std::string value = std::move(*next);
  arguments.erase(next);
  return value;
}

// What only looks at a library looks at that of the service, if no other is named: with the options of the
// service before the given ones and, for root, as the user of the service, who may not read everything.
void lookAtTheService(std::vector<std::string>& arguments, const UserDefaults& defaults) {
  const bool isOther = std::find(arguments.begin(), arguments.end(), "-LibraryPath") != arguments.end() ||
                       defaults.stringForKey("LibraryPath").has_value();
  std::error_code failure;
  if (isOther || !std::filesystem::exists(kServiceOptionsFile, failure)) return;
  const auto options = serviceOptions(kServiceOptionsFile);
  if (options) arguments.insert(arguments.begin(), options->begin(), options->end());
  const bool isItsUser = becomeUser(kServiceUser);
  std::cerr << (options ? "With the options of the service in " : "The service has no options yet in ")
            << kServiceOptionsFile << (isItsUser ? options ? ", as its user " : "; tried as its user " : "")
            << (isItsUser ? kServiceUser : "") << ".\n";
}

// Serves until a signal ends the program. The exit status.
int runServer(CoreLoop& loop, ServerProgram& program) {
  const bool reloadsOnHangup = !endsWithItsTerminal();
  const auto isReload = [reloadsOnHangup](int signal) { return signal == SIGHUP && reloadsOnHangup; };
  // Runs even while a script or a reply to a slow client keeps the core thread busy: neither may delay the
  // end of the program or the disconnection.
  const auto handleAtOnce = [&](int signal) {
    if (signal == SIGUSR1) {
      QVSocketServer::disconnect();
    } else if (!isReload(signal)) {
      QVSocketServer::closeToClients();
      program.endWork();
      exitWithin(kTimeToEnd);
    }
  };
  const auto handle = [&](int signal) {
    if (isReload(signal)) {
      program.reload();
    } else if (signal != SIGUSR1) {
      notifyServiceManager("STOPPING=1");
      loop.quit();
    }
  };
  const auto postToLoop = [&loop](EventLoop::Task call) { loop.post(std::move(call)); };
  const SignalWatcher signals(SignalWatcher::usualSignals(), postToLoop, handle, handleAtOnce);
  loop.post([&] { start(loop, program); });
  const Watchdog watchdog(loop);
  return loop.run();
}

int serve(int argc, char** argv) {
  UserDefaults defaults(makeUserSettingsStore());
  const ProgramDescription description{
      "moxtelserverd",
      "Serves an iPhoto, Aperture or Photos library to Moxtel clients on the network, without a display.",
      {{"--check", "try everything that serving needs, print what works and what does not, and exit"},
       {"--print-folders", "print the events and albums of the library as a tree and exit"},
       {"--explain-album ID", "print the rule and the photos of a smart album and exit"}}};
  std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
  const bool checks = std::erase(arguments, "--check") > 0;
  const bool printsFolders = std::erase(arguments, "--print-folders") > 0;
  const auto explained = takeOption("--explain-album", arguments);
  if (explained && explained->empty()) {
    std::cerr
        << "moxtelserverd: --explain-album takes the ID of an album: 'moxtel --json albums' shows it as "
           "\"AlbumId\"\n";
    return kUsageStatus;
  }
  if (checks || printsFolders || explained) lookAtTheService(arguments, defaults);
  if (const auto status = takeCommandLine(description, arguments, defaults)) return *status;

  allowDescriptors(kDescriptorsOfServer);
  CoreLoop loop;
  if (checks) return checkServer(loop, defaults);
  StandardOutputConsoleView view;
  ServerProgram program(loop, defaults, view);
  if (explained) return explainAlbum(loop, program, *explained);
  if (!printsFolders) return runServer(loop, program);
  return defaults.integerForKey("DebugLevel") == 0 ? printFolders(loop, program) : logFolders(loop, program);
}

}  // namespace
}  // namespace moxtel

int main(int argc, char** argv) {
  moxtel::prepareProcess();
  return moxtel::runProgram([&] { return moxtel::serve(argc, argv); });
}
