// One run of moxtel-export: finds the libraries, checks the target, plans, copies, and fills the report. On
// one thread, whose loop it borrows.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "export/ExportContext.h"
#include "export/LibraryPlan.h"
#include "library/Messages.h"

namespace moxtel {

class EventLoop;
class ExportProgress;
class FileWriter;
class OpenLibrary;
class SidecarWriter;

// The exit statuses of moxtel-export.
enum class ExportResult : std::uint8_t {
  Complete = 0,
  WrongUsage = 1,
  Incomplete = 2,
  Failed = 3,
  Interrupted = 130
};

class ExportRun final {
 public:
  struct Seams {
    std::function<bool()> isCanceled = [] { return false; };
    // Takes a line for the user that comes before the report; no line feed.
    std::function<void(std::string_view)> say = [](std::string_view) {};
    // Takes the lines of --dry-run --json.
    std::function<void(std::string_view)> describe = [](std::string_view) {};
    // Gives the page of the report, part by part; may be empty.
    std::function<void(Report&, const std::function<void(std::string_view)>& write)> page;
    // The free bytes of the target, in the place of what its file system says.
    std::function<std::uint64_t(const TargetFolder&)> freeBytes = [](const TargetFolder& target) {
      return target.freeBytes();
    };
  };

  // Borrows all but the options. sidecars may be null.
  ExportRun(EventLoop& loop, ExportOptions options, Report& report, ExportProgress& progress,
            SidecarWriter* sidecars, Seams seams);
  ~ExportRun();
  ExportRun(const ExportRun&) = delete;
  ExportRun& operator=(const ExportRun&) = delete;

  ExportResult run();

 private:
  class LibraryMessages;
  // Each gives a result that ends the run, or nothing.
  std::optional<ExportResult> prepare();
  std::optional<ExportResult> findLibraries();
  std::optional<ExportResult> openTarget();
  std::optional<ExportResult> checkSettings();
  std::optional<ExportResult> planAll();
  std::optional<ExportResult> checkRoom();
  std::unique_ptr<OpenLibrary> open(ExportedLibrary& library);
  std::unique_ptr<OpenLibrary> openForPlan(ExportedLibrary& library);
  void identify(ExportedLibrary& library, OpenLibrary& opened);
  void plan(ExportedLibrary& library, std::vector<std::string>& unknown);
  void leaveNothing();
  void compareLibraries();
  void copyAll();
  void copyOne(ExportedLibrary& library, FileWriter& writer, bool isLast);
  void describeAll();
  void finish(FileWriter& writer);
  void verify();
  void writeChecksums();
  void writePage();
  // After a run that did not end by itself.
  void writeLastPage();
  ExportResult failed(const std::string& why);
  ExportResult wrong(const std::string& why);

  EventLoop& loop_;
  const ExportOptions options_;
  Report& report_;
  ExportProgress& progress_;
  SidecarWriter* const sidecars_;
  const Seams seams_;
  std::unique_ptr<LibraryMessages> messages_;
  std::vector<ExportedLibrary> libraries_;
  std::unique_ptr<TargetFolder> target_;
  // A copy of the target's state, for a dry run.
  std::unique_ptr<class PrivateFolder> stateCopy_;
  std::unique_ptr<ExportState> state_;
  ExportScratch scratch_;
  std::unique_ptr<ExportContext> context_;
  PlannedWork work_;
  std::vector<std::string> newFolders_;  // those that were missing, the target first
  bool isFreshTarget_ = false;           // it was empty, and this run has locked it
  bool isCopying_ = false;
};

}  // namespace moxtel
