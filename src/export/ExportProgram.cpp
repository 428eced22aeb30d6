#include "export/ExportProgram.h"

#include "export/ExportProgress.h"
#include "export/ExportRun.h"
#include "export/ReportPage.h"
#include "platform/system/LogText.h"

namespace moxtel {

namespace {

void printReport(Report& report, ExportResult result, bool asJson, const ExportProgramSeams& seams) {
  const bool hasNothing =
      result == ExportResult::WrongUsage || (result == ExportResult::Failed && report.libraries.empty());
  if (asJson) writeReportJson(report, [&](std::string_view text) { seams.out << text; });
  if (!asJson && !hasNothing) seams.out << reportText(report);
  seams.out.flush();
  if (report.isInterrupted) seams.err << "moxtel-export: interrupted. The same command continues.\n";
  if (!report.failure.empty())
    seams.err << "moxtel-export: " << printableText(loggedText(report.failure)) << ".\n";
}

}  // namespace

int runExportProgram(EventLoop& loop, const std::vector<std::string>& arguments, SidecarWriter* sidecars,
                     const ExportProgramSeams& seams) {
  const auto parsed = parseExportOptions(arguments);
  if (const auto* message = std::get_if<ExportMessage>(&parsed)) {
    (message->exitStatus == 0 ? seams.out : seams.err) << message->text << std::flush;
    return message->exitStatus;
  }
  const auto& options = std::get<ExportOptions>(parsed);
  Report report;
  // Another program that reads the report reads the progress, too.
  const bool isForProgram = options.json && options.progress;
  if (isForProgram) seams.translate();
  const auto style = isForProgram       ? ExportProgress::Style::Json
                     : seams.isTerminal ? ExportProgress::Style::Terminal
                                        : ExportProgress::Style::Lines;
  ExportProgress progress(isForProgram                           ? &seams.out
                          : options.progress || seams.isTerminal ? &seams.err
                                                                 : nullptr,
                          style);
  ExportRun::Seams run;
  run.isCanceled = seams.isCanceled;
  run.say = [&](std::string_view line) {
    seams.err << printableText(loggedText(line)) << '\n' << std::flush;
  };
  run.describe = [&](std::string_view line) { seams.out << line << '\n'; };
  run.page = [&](Report& done, const auto& write) { writeReportPage(done, languageOf(seams.locale), write); };
  const ExportResult result = ExportRun(loop, options, report, progress, sidecars, std::move(run)).run();
  progress.erase();
  printReport(report, result, options.json, seams);
  return static_cast<int>(result);
}

}  // namespace moxtel
