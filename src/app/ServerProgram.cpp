#include "app/ServerProgram.h"

#include "dnssd/SystemDnsSd.h"
#include "log/Log.h"
#include "platform/applications/RemoteApplications.h"
#include "platform/applications/RunningApplications.h"
#include "platform/applications/ScriptInterpreters.h"
#include "platform/files/UserFolders.h"
#include "platform/loop/CoreLoop.h"
#include "platform/system/HostNames.h"
#include "platform/system/SystemLog.h"
#include "support/Localization.h"
#include "value/Format.h"
#include "web/WebServer.h"

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
        console.showTitle("Error",
                          UserText::tr("Cannot ask which photo applications run on the other machine: ") +
                              localizedReason(why));
      });
}

// Which interpreter runs the scripts, or why there is none.
std::string interpreterText(const ScriptRunner& scripts) {
  if (scripts.hasInterpreter())
    return formatRuntime(UserText::tr("AppleScript is run by '%@'"), scripts.command());
  return UserText::tr(
      "No AppleScript interpreter here: the photo application cannot be asked (set \"ScriptInterpreter\" "
      "to use one on another machine)");
}

constexpr EventLoop::Duration kNotesInterval = std::chrono::seconds(10);

}  // namespace

ServerProgram::ServerProgram(CoreLoop& loop, UserDefaults& defaults, ConsoleView& view)
    : loop_(loop),
      defaults_(defaults),
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
      *scripts_, console_, discovery_.get(), nameOfHost, [this] { return processes_.hasEnded(); },
      [this] {
        if (web_) web_->setServed(delegate_->libraryPath());
      }});
}

ServerProgram::~ServerProgram() {
  web_.reset();
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
  console_.showTitle("Info", interpreterText(*scripts_));
  delegate_->applicationDidFinishLaunching();
  startWeb();
}

// The page of a library that is not served to the handheld's clients is of use, too.
void ServerProgram::startWeb() {
  const auto settings = webSettings(defaults_);
  if (const auto* wrong = std::get_if<std::string>(&settings)) {
    console_.showTitle("Error", UserText::tr("There is no page for browsers: ") + *wrong);
    return;
  }
  const auto& wanted = std::get<WebSettings>(settings);
  if (wanted.port == 0) return;
  if (wanted.port == (defaults_.integerForKey("Port") & 0xFFFF)) {
    console_.showTitle(
        "Error", formatRuntime(UserText::tr("There is no page for browsers: -WebPort and -Port are both %d"),
                               wanted.port));
    return;
  }
  web_ = std::make_unique<WebServer>(
      wanted,
      WebServer::Environment{
          loop_, discovery_.get(), settingsFolder() + "/MoxtelServer/web-access",
          cacheFolder() + "/MoxtelServer",
          [this](std::string_view title, const std::string& text) { console_.showTitle(title, text); },
          [this](const QrCode& code) { view_.showTerminalPicture(code.blocks()); }});
  web_->setServed(delegate_->libraryPath());
  web_->start();
}

ServerStatus ServerProgram::status() {
  ServerStatus status = delegate_->status();
  if (web_) {
    status.web = web_->status();
  } else {
    status.web.access = "off";
  }
  return status;
}

void ServerProgram::reload() {
  delegate_->reload();
  if (web_ && web_->port() == 0) web_->start();
}

void ServerProgram::setWebAccess(const std::string& access) {
  defaults_.setString("WebAccess", access);
  if (access != "off" && defaults_.stringForKey("WebPort") && defaults_.integerForKey("WebPort") == 0)
    defaults_.setString("WebPort", std::to_string(WebSettings::kUsualPort));
  web_.reset();
  startWeb();
}

void ServerProgram::renewWebKey() {
  if (web_) web_->renewKey();
}

}  // namespace moxtel
