// What a run of the export did, and what it could not do: counts, and findings with their files and reasons.
// The terminal, report.html and the JSON report print it. One thread.
//
// Findings are kept in a temporary file, so a million of them take no memory. Texts are those of the library,
// not yet made safe for a terminal or HTML.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "export/StateSql.h"

namespace moxtel {

enum class Finding : std::uint8_t {
  // What is missing in the target: the export is incomplete.
  AbsentDisk,       // the file is on a disk that is not attached; the reason is the disk's name
  OnlyInCloud,      // the original is not in the library, which keeps it in the cloud
  MissingOriginal,  // the library has no file
  MissingEdited,    // the library has no full-size picture of the edits
  Unreadable,       // the file cannot be read
  TooLarge,         // the target's file system cannot keep the file
  NotWritten,       // the target refused the file
  Damaged,          // a file in the target has another checksum than it had
  UnknownMembers,   // of an album
  LibraryDamaged,   // a database; what was used instead
  LibraryUnreadable,
  FactsNotRead,
  // What the user should know.
  SmallEdited,     // the picture of the edits is smaller than the original
  OldEdited,       // it does not show the latest edits
  SomeMembers,     // an album without those that are not certain
  SharedOriginal,  // a duplicate, whose facts only an edited file could have
  Renamed,         // another name than in the library
  NoDate,
  SidecarKept,   // somebody changed it, and the library has other facts now
  FileKept,      // somebody changed the file in the target
  LinkRefused,   // the target's file system has no links
  NotInLibrary,  // a file among the originals that no photo of the library has
  Identical,     // two originals of equal contents
  MigratedCopy,  // a library that was made of another one
  NotEmbedded,   // facts could not be written into the file
  SidecarLacks,  // facts that have no place in a sidecar
  OtherTime,     // the target did not take the times of files; one finding for all of them
};
inline constexpr std::size_t kFindings = static_cast<std::size_t>(Finding::OtherTime) + 1;

// A heading for people: "Originals that the library does not have".
std::string_view headingOf(Finding finding);
// "missingOriginal", for JSON.
std::string_view wordOf(Finding finding);
// Whether something is missing in the target because of it.
bool isIncomplete(Finding finding);

struct FindingEntry {
  std::string library;  // its folder's name
  std::string file;     // in the library or in the target, or an album's name
  std::string reason;   // of an absent disk: its name, empty if unknown
};

struct LibraryReport {
  std::string path;
  std::string kind;    // "Photos 5 library"; "iPhoto or Aperture library"
  std::string folder;  // in the target; empty: the target itself
};

struct ReportCounts {
  std::uint64_t photos = 0;  // of the libraries, movies included, without what was not wanted
  std::uint64_t movies = 0;
  std::uint64_t hidden = 0;      // of them
  std::uint64_t hiddenLeft = 0;  // left out
  std::uint64_t inTrash = 0;
  std::uint64_t trashLeft = 0;
  std::uint64_t files = 0;   // pictures and movies that belong in the target
  std::uint64_t copied = 0;  // of them, in this run; with a dry run, those that would be
  std::uint64_t copiedBytes = 0;
  std::uint64_t unchanged = 0;  // of them, there already
  std::uint64_t sidecars = 0;   // written in this run
  std::uint64_t albums = 0;
  std::uint64_t verified = 0;
};

class Report final {
 public:
  Report();

  ReportCounts counts;
  std::vector<LibraryReport> libraries;
  std::string target;
  bool isDryRun = false;
  bool isLinked = false;  // links take the place of copies
  bool isInterrupted = false;
  std::string page;     // path of report.html; empty: none was written
  std::string failure;  // why the run ended early; empty: it did not

  // Without a reason it gets the usual one.
  void add(Finding finding, std::string_view library, std::string_view file, std::string_view reason = {});
  std::uint64_t countOf(Finding finding) const { return numbers_[static_cast<std::size_t>(finding)]; }
  bool isComplete() const;

  using Take = std::function<void(const FindingEntry&)>;
  // In the order of adding, at most this many.
  void forEach(Finding finding, const Take& take, std::uint64_t most = UINT64_MAX);
  // How many findings have each reason, most first.
  void forEachReason(Finding finding,
                     const std::function<void(std::string_view reason, std::uint64_t)>& take);

 private:
  StateSql entries_;
  std::array<std::uint64_t, kFindings> numbers_{};
  struct Tables {
    explicit Tables(StateSql& sql);
  };
  const Tables tables_;
  Statement add_;
};

// For the terminal, some lines: a summary, and what is missing with at most `most` files of each kind.
std::string reportText(Report& report, std::uint64_t most = 10);
// All of it as one JSON object, a line.
void writeReportJson(Report& report, const std::function<void(std::string_view)>& write);

}  // namespace moxtel
