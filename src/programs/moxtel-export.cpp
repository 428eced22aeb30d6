// moxtel-export: copies the photos of libraries into plain folders.
#include <malloc.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <iostream>

#include "export/ExportProgram.h"
#include "export/XmpSidecars.h"
#include "platform/files/PartialFile.h"
#include "platform/loop/CoreLoop.h"
#include "platform/loop/SignalWatcher.h"
#include "platform/process/ThisProcess.h"
#include "platform/system/SystemLog.h"
#include "platform/system/Translations.h"
#include "support/Localization.h"

namespace moxtel {
namespace {

std::string userLocale() {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"})
    if (const char* value = std::getenv(name); value && *value) return value;
  return {};
}

void useTranslations() {
  setTranslator(translationsFrom(programFolder() + "/../share/moxtelserver/translations", userLanguage()));
}

int runExport(const std::vector<std::string>& arguments) {
  // Discards the log: the report says what matters to the user.
  setSystemLogSink([](std::string_view) {});
  XmpSidecars sidecars;
  std::atomic<bool> isCanceled = false;
  CoreLoop loop;
  const SignalWatcher signals(
      {SIGINT, SIGTERM, SIGHUP}, [](auto) {}, [](int) {}, [&](int) { isCanceled = true; });
  loop.post([&] {
    const ExportProgramSeams seams{std::cout,         std::cerr,
                                   isErrorTerminal(), [&] { return isCanceled.load(); },
                                   userLocale(),      useTranslations};
    // The status of a failure that leaves an exception.
    int status = 3;
    try {
      status = runExportProgram(loop, arguments, &sidecars, seams);
    } catch (const std::exception& error) {
      std::cerr << "moxtel-export: " << error.what() << '\n';
    }
    loop.quit(status);
  });
  return loop.run();
}

}  // namespace
}  // namespace moxtel

namespace {
// Lists of a million photos go back to the system when they are freed: without this, malloc keeps such
// blocks.
constexpr int kLargeBlock = 128 << 10;  // bytes
}  // namespace

int main(int argc, char** argv) {
  ::mallopt(M_MMAP_THRESHOLD, kLargeBlock);
  moxtel::prepareProcess();
  return moxtel::runProgram(
      [&] { return moxtel::runExport(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc)); });
}
