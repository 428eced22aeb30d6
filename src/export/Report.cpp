#include "export/Report.h"

#include <algorithm>

namespace moxtel {

namespace {

struct FindingText {
  std::string_view word;
  std::string_view heading;
  bool isIncomplete;
  std::string_view reason;  // where there is nothing more to say
};

// By Finding.
constexpr std::array<FindingText, kFindings> kTexts{{
    {"absentDisk", "Originals on a disk that is not attached", true, ""},
    {"onlyInCloud", "Originals that are only in iCloud", true, "the library has no file in full size"},
    {"missingOriginal", "Originals that the library does not have", true,
     "there is no such file in the library"},
    {"missingEdited", "Edited photos of which the library has no picture", true,
     "the library has no such picture"},
    {"unreadable", "Files that could not be read", true, ""},
    {"tooLarge", "Files that are too large for the target's file system", true, "4 GiB or more"},
    {"notWritten", "Files that could not be written", true, ""},
    {"damaged", "Files in the target that are not as they were written", true, ""},
    {"unknownMembers", "Albums whose photos are not known", true, "the library names no photos of it"},
    {"libraryDamaged", "Damaged databases of a library", true, ""},
    {"libraryUnreadable", "Libraries that could not be read", true, ""},
    {"factsNotRead", "Photos of which some facts could not be read", true, ""},
    {"smallEdited", "Edited pictures that are smaller than their originals", false, ""},
    {"oldEdited", "Edited pictures without the latest edits", false, "made before the last edit"},
    {"someMembers", "Smart albums of which only the certain photos are known", false, ""},
    {"sharedOriginal", "Duplicates, which share the file of another photo", false,
     "a duplicate without edits of its own"},
    {"renamed", "Files with another name than in the library", false, ""},
    {"noDate", "Photos without a date", false, "the library knows none"},
    {"sidecarKept", "Sidecars and lists that were changed in the target, and stay as they are", false,
     "changed in the target since it was written"},
    {"fileKept", "Files that were changed in the target, and stay as they are", false,
     "changed in the target since it was written"},
    {"linkRefused", "Links that the target does not allow", false, ""},
    {"notInLibrary", "Files among the originals that no photo of the library has", false,
     "no photo of the library has this file"},
    {"identical", "Originals with the same contents", false, "the first of them"},
    {"migratedCopy", "Libraries that are copies of another one", false, ""},
    {"notEmbedded", "Files that cannot hold the facts", false, ""},
    {"sidecarLacks", "Facts that have no place in a sidecar", false, ""},
    {"otherTime", "Files whose time the target did not take", false, ""},
}};

const FindingText& textsOf(Finding finding) { return kTexts[static_cast<std::size_t>(finding)]; }

}  // namespace

std::string_view headingOf(Finding finding) { return textsOf(finding).heading; }
std::string_view wordOf(Finding finding) { return textsOf(finding).word; }
bool isIncomplete(Finding finding) { return textsOf(finding).isIncomplete; }

Report::Tables::Tables(StateSql& sql) {
  sql.execute(
      "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; PRAGMA cache_size = -2000;"
      "CREATE TABLE entry (finding INTEGER, library TEXT, file TEXT, reason TEXT);"
      "CREATE INDEX entryOfFinding ON entry (finding);");
}

Report::Report()
    : entries_(std::string()), tables_(entries_), add_(entries_, "INSERT INTO entry VALUES (?, ?, ?, ?)") {
  entries_.execute("BEGIN");
}

void Report::add(Finding finding, std::string_view library, std::string_view file, std::string_view reason) {
  ++numbers_[static_cast<std::size_t>(finding)];
  add_.with(static_cast<int>(finding), library, file, reason.empty() ? textsOf(finding).reason : reason)
      .run();
}

bool Report::isComplete() const {
  if (isInterrupted || !failure.empty()) return false;
  for (std::size_t i = 0; i < kFindings; ++i)
    if (numbers_[i] > 0 && kTexts[i].isIncomplete) return false;
  return true;
}

void Report::forEach(Finding finding, const Take& take, std::uint64_t most) {
  Statement rows(entries_, "SELECT library, file, reason FROM entry WHERE finding = ? ORDER BY rowid");
  rows.with(static_cast<int>(finding));
  for (; most > 0 && rows.row(); --most)
    take({std::string(rows.text(0)), std::string(rows.text(1)), std::string(rows.text(2))});
}

void Report::forEachReason(Finding finding,
                           const std::function<void(std::string_view reason, std::uint64_t)>& take) {
  Statement rows(entries_,
                 "SELECT reason, count(*) FROM entry WHERE finding = ? GROUP BY reason ORDER BY 2 DESC, 1");
  rows.with(static_cast<int>(finding));
  while (rows.row()) take(rows.text(0), static_cast<std::uint64_t>(rows.integer(1)));
}

}  // namespace moxtel
