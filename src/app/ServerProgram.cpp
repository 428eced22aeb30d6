#include "app/ServerProgram.h"

#include "dnssd/SystemDnsSd.h"
#include "log/Log.h"
#include "platform/applications/RemoteApplications.h"
#include "platform/applications/RunningApplications.h"
#include "platform/applications/ScriptInterpreters.h"
#include "platform/loop/CoreLoop.h"
#include "platform/system/HostNames.h"
#include "platform/system/SystemLog.h"

namespace moxtel {

namespace {

// The applications that run here and on the script interpreter's machine. Null when the user set no
// interpreter: then only the local ones count.
std::unique_ptr<RunningApplications> allApplications(RunningApplications& local, const UserDefaults& defaults,
                                                     ProcessRunner& processes, MXSConsole& console) {
  if (!defaults.stringForKey("ScriptInterpreter")) return nullptr;
  auto words = scriptInterpreterWords(defaults);
  if (words.empty()) return nullptr;
  return std::make_unique<RemoteApplications>(
      local, std::move(words), processes, [&console](const std::string& why) {
        console.showTitle("Error", "Cannot ask which photo applications run on the other machine: " + why);
      });
}

constexpr EventLoop::Duration kNotesInterval = std::chrono::seconds(10);

}  // namespace

ServerProgram::ServerProgram(CoreLoop& loop, UserDefaults& defaults, ConsoleView& view)
    : loop_(loop),
      console_(loop, defaults),
      view_(view),
      scripts_(makeScriptRunner(defaults, processes_)),
      localApplications_(makeRunningApplications({"iPhoto", "Aperture"})),
      applications_(allApplications(*localApplications_, defaults, processes_, console_)),
      discovery_(makeSystemDnsSd(loop)) {
  setUpLogging(defaults);
  MXPAppDelegate::initialize(defaults);
  delegate_ = std::make_unique<MXPAppDelegate>(ServerEnvironment{
      loop, defaults, notifications_, processes_, applications_ ? *applications_ : *localApplications_,
      *scripts_, console_, discovery_.get(), nameOfHost, [this] { return processes_.hasEnded(); }});
}

ServerProgram::~ServerProgram() {
  delegate_.reset();
  reportLinesLeftOut(AtEnd::Yes);
  console_.removeView(view_);
}

void ServerProgram::endWork() {
  processes_.end();
  scripts_->end();
  if (applications_) applications_->end();
}

void ServerProgram::reportLinesLeftOut(AtEnd atEnd) {
  console_.showPendingNotes(atEnd);
  writePendingNotesOfSystemLog(atEnd);
}

void ServerProgram::start() {
  console_.addView(view_);
  notesTimer_ = loop_.callEvery(kNotesInterval, [this] { reportLinesLeftOut(AtEnd::No); });
  console_.showTitle("Info", scripts_->description());
  delegate_->applicationDidFinishLaunching();
}

}  // namespace moxtel
