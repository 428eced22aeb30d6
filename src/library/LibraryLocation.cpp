#include "library/LibraryLocation.h"

#include "library/Messages.h"
#include "library/PathNames.h"
#include "platform/files/Files.h"
#include "platform/process/ChildProcess.h"
#include "platform/settings/UserDefaults.h"
#include "platform/system/SystemLog.h"
#include "support/Localization.h"
#include "value/Format.h"
#include "value/Trimmed.h"

namespace moxtel {

namespace {

// The settings tool answers at once; another program with its name may never answer.
constexpr std::chrono::milliseconds kToolTimeout{5000};

Value orNil(const std::optional<std::string>& text) { return text ? Value(*text) : Value(); }

// Why the tool could not be launched or read; empty when it ran.
std::string pipeProblem(const ProcessResult& result) {
  switch (result.ending) {
    case ProcessResult::Ending::NotStarted:
      return result.error.empty() ? "launch failed" : result.error;
    case ProcessResult::Ending::TimedOut:
      return "no answer in time";
    case ProcessResult::Ending::TooMuchOutput:
      return "too long an answer";
    case ProcessResult::Ending::Exited:
    case ProcessResult::Ending::Killed:
      break;
  }
  return {};
}

}  // namespace

LibraryLocation::LibraryLocation(UserDefaults& defaults, ProcessRunner& processes, Messages& messages,
                                 const PhotoApplicationFlags& flags, std::string tool)
    : defaults_(defaults),
      processes_(processes),
      messages_(messages),
      flags_(flags),
      tool_(std::move(tool)) {}

bool LibraryLocation::canAskForLibrary() const { return stampOf(tool_).isRegular(); }

void LibraryLocation::readPhotoAppDefaults() {
  if (auto path = defaults_.stringForKey("LibraryPath")) {
    libraryPath_ = std::move(path);
  } else {
    askTool();
  }
}

// Each chunk is a complete answer, since the tool writes it in one piece. False ends the reading.
bool LibraryLocation::takeChunk(std::string_view chunk, std::optional<std::string>& answer) {
  if (chunk.find("does not exist") != std::string_view::npos) {
    NSLog("no iPhoto default found");
    return false;
  }
  const std::string_view path = trimmed(chunk);
  if (!path.starts_with('/') && !path.starts_with('~')) return true;
  if (isUtf8Path(path)) {
    answer = expandingTilde(path);
  } else {
    explainPathOutsideUtf8(path, messages_);
  }
  return true;
}

void LibraryLocation::askTool() {
  std::optional<std::string> answer;
  ProcessRequest request;
  request.program = tool_;
  request.arguments = {"read", asksAperture() ? "com.apple.Aperture" : "com.apple.iPhoto", "LibraryPath"};
  request.timeout = kToolTimeout;
  request.onOutput = [&](std::string_view chunk) { return takeChunk(chunk, answer); };
  const ProcessResult result = processes_.run(request);
  if (const std::string problem = pipeProblem(result); !problem.empty()) {
    NSLog("problem with pipe: %@", problem);
    messages_.showTitle("Error", kNoPhotoApplicationSettings);
    return;
  }
  if (result.ending == ProcessResult::Ending::Exited && result.exitStatus == 0) {
    if (answer) libraryPath_ = std::move(answer);
    NSLog("root directory: %@", orNil(libraryPath_));
  }
  messages_.showTitle("Info", format("Found library path: '%@'", orNil(libraryPath_)));
}

void explainPathOutsideUtf8(std::string_view path, Messages& messages) {
  if (isUtf8Path(path)) return;
  messages.showTitle(
      "Error",
      formatRuntime(UserText::tr("The library path '%@' is not valid UTF-8, so the databases in it cannot be "
                                 "opened. Make a symbolic link to the library whose path has plain letters "
                                 "only, and set LibraryPath to it."),
                    path));
}

}  // namespace moxtel
