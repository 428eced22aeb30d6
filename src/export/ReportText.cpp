// The report for the terminal and as JSON.
#include <string>

#include "export/ExportText.h"
#include "export/JsonText.h"
#include "export/Report.h"
#include "platform/system/LogText.h"

namespace moxtel {

namespace {

// One line, cut, and safe for a terminal.
std::string shown(std::string_view text) { return printableText(loggedText(text)); }

std::string plural(std::uint64_t number, const char* one, const char* many) {
  return groupedNumber(number) + " " + (number == 1 ? one : many);
}

std::string doneText(const Report& report) {
  if (report.isLinked) return report.isDryRun ? " to link" : " linked";
  return (report.isDryRun ? " to copy (" : " copied (") + sizeText(report.counts.copiedBytes) + ")";
}

std::string summary(const Report& report) {
  const ReportCounts& counts = report.counts;
  std::string text = plural(counts.photos, "photo", "photos");
  if (counts.movies > 0) text += " (" + plural(counts.movies, "of them a movie", "of them movies") + ")";
  if (counts.albums > 0) text += ", " + plural(counts.albums, "album", "albums");
  text += ": " + plural(counts.copied, "file", "files") + doneText(report) + ", " +
          groupedNumber(counts.unchanged) + " there already";
  if (counts.sidecars > 0) text += ", " + plural(counts.sidecars, "sidecar", "sidecars") + " written";
  if (counts.verified > 0) text += ", " + groupedNumber(counts.verified) + " verified";
  return text + ".\n";
}

std::string notes(const ReportCounts& counts) {
  std::string text;
  if (counts.hidden > 0) text += plural(counts.hidden, "photo is", "photos are") + " hidden.\n";
  if (counts.hiddenLeft > 0)
    text += plural(counts.hiddenLeft, "hidden photo was", "hidden photos were") + " left out.\n";
  if (counts.trashLeft > 0)
    text += plural(counts.trashLeft, "photo is", "photos are") +
            " in the trash and left out; --trash takes them.\n";
  return text;
}

std::string disks(Report& report) {
  std::string text;
  report.forEachReason(Finding::AbsentDisk, [&](std::string_view disk, std::uint64_t number) {
    const std::string name = disk.empty() ? "a disk that is not attached" : "'" + shown(disk) + "'";
    text += plural(number, "photo lies on ", "photos lie on ") + name +
            (disk.empty() ? ": attach it"
                          : ": attach it, and name it with --referenced '" + shown(disk) + "=FOLDER'") +
            "\n";
  });
  return text;
}

std::string entriesOf(Report& report, Finding finding, std::uint64_t most) {
  const std::uint64_t number = report.countOf(finding);
  std::string text = std::string(headingOf(finding)) + ": " + groupedNumber(number) + "\n";
  report.forEach(
      finding,
      [&](const FindingEntry& entry) {
        const bool hasLibrary = report.libraries.size() > 1 && !entry.library.empty();
        text += "  " + (hasLibrary ? shown(entry.library) + ": " : "") + shown(entry.file);
        if (!entry.reason.empty()) text += " (" + shown(entry.reason) + ")";
        text += "\n";
      },
      most);
  if (number > most)
    text += "  … and " + groupedNumber(number - most) + " more, " +
            (report.isDryRun ? "which --json lists\n" : "in report.html\n");
  return text;
}

std::string countsJson(const ReportCounts& counts) {
  JsonObject json;
  json.add("photos", counts.photos).add("movies", counts.movies).add("hidden", counts.hidden);
  json.add("hiddenLeft", counts.hiddenLeft).add("inTrash", counts.inTrash).add("trashLeft", counts.trashLeft);
  json.add("files", counts.files).add("copied", counts.copied).add("copiedBytes", counts.copiedBytes);
  json.add("unchanged", counts.unchanged).add("sidecars", counts.sidecars).add("albums", counts.albums);
  return json.add("verified", counts.verified).text();
}

}  // namespace

std::string reportText(Report& report, std::uint64_t most) {
  std::string text = disks(report);
  for (std::size_t i = 0; i < kFindings; ++i) {
    const auto finding = static_cast<Finding>(i);
    if (report.countOf(finding) == 0 || finding == Finding::AbsentDisk) continue;
    // What is only good to know is counted here, and listed in report.html.
    text += isIncomplete(finding)
                ? entriesOf(report, finding, most)
                : std::string(headingOf(finding)) + ": " + groupedNumber(report.countOf(finding)) + "\n";
  }
  text += notes(report.counts) + summary(report);
  if (!report.page.empty()) text += "Report: " + shown(report.page) + "\n";
  return text;
}

void writeReportJson(Report& report, const std::function<void(std::string_view)>& write) {
  write("{\"target\":" + jsonString(report.target) + ",\"complete\":" +
        (report.isComplete() ? "true" : "false") + ",\"dryRun\":" + (report.isDryRun ? "true" : "false") +
        ",\"interrupted\":" + (report.isInterrupted ? "true" : "false") +
        (report.page.empty() ? "" : ",\"page\":" + jsonString(report.page)) +
        (report.failure.empty() ? "" : ",\"failure\":" + jsonString(report.failure)) + ",\"libraries\":[");
  for (std::size_t i = 0; i < report.libraries.size(); ++i) {
    const LibraryReport& library = report.libraries[i];
    JsonObject json;
    json.add("path", library.path).add("kind", library.kind).add("folder", library.folder);
    write((i > 0 ? "," : "") + json.text());
  }
  write("],\"counts\":" + countsJson(report.counts) + ",\"findings\":[");
  bool isFirst = true;
  for (std::size_t i = 0; i < kFindings; ++i) {
    const auto finding = static_cast<Finding>(i);
    report.forEach(finding, [&](const FindingEntry& entry) {
      JsonObject json;
      json.add("finding", wordOf(finding)).add("library", entry.library).add("file", entry.file);
      write((isFirst ? "" : ",") + json.add("reason", entry.reason).text());
      isFirst = false;
    });
  }
  write("]}\n");
}

}  // namespace moxtel
