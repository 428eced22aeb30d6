// MoxtelServer: the server with windows. The windows run on the main thread, the server on another.
#include <QApplication>
#include <QIcon>
#include <QLibraryInfo>
#include <QSysInfo>
#include <QTimer>
#include <QTranslator>
#include <algorithm>
#include <atomic>
#include <csignal>
#include <functional>
#include <iostream>

#include "app/CommandLine.h"
#include "app/CoreThread.h"
#include "app/ServerProgram.h"
#include "app/windows/MainWindow.h"
#include "console/window/ConsoleWindow.h"
#include "platform/loop/SignalWatcher.h"
#include "platform/process/ThisProcess.h"
#include "platform/system/Translations.h"
#include "support/Localization.h"

namespace moxtel {
namespace {

constexpr int kBusyCheckMilliseconds = 500;
constexpr int kNoDisplayStatus = 1;

// Without a display, Qt aborts with a core dump; this check allows a message that names moxtelserverd.
bool lacksDisplay() {
  const auto names = {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"};
  return QSysInfo::kernelType() == QStringLiteral("linux") &&
         std::none_of(names.begin(), names.end(),
                      [](const char* name) { return qEnvironmentVariableIsSet(name); });
}

// Connects the windows with the server. Windows' thread.
class Desktop final {
 public:
  Desktop(UserDefaults& defaults, const std::string& language)
      : defaults_(defaults),
        window_(actions()),
        core_(defaults, console_.view(), [this](const ServerStatus& status) { postStatus(status); }) {
    console_.setLinesObserver([this](const auto& lines) { window_.showLines(lines); });
    const auto help = MXPAppDelegate::attributedStringHelp(language);
    window_.setHelp(help ? QString::fromStdString(*help) : QString(), defaults.boolForKey("DontShowHelp"));
    QObject::connect(&busyCheck_, &QTimer::timeout, &window_, [this] { checkCore(); });
    busyCheck_.start(kBusyCheckMilliseconds);
    window_.show();
  }

  CoreThread& core() { return core_; }

 private:
  MainWindowActions actions() {
    MainWindowActions actions;
    actions.chooseLibrary = [this](const std::string& folder) { chooseLibrary(folder); };
    // Not posted to the core thread, which may be busy with a reply to that client.
    actions.disconnectClient = [] { QVSocketServer::disconnect(); };
    actions.reload = [this] { core_.post([](ServerProgram& program) { program.delegate().reload(); }); };
    actions.preferAperture = [this](bool prefers) {
      // Stored first: the server reads it when it restarts.
      defaults_.setBool("PreferAperture", prefers);
      core_.post([](ServerProgram& program) { program.delegate().changedPreferAperture(); });
    };
    actions.revealPhoto = [this](bool allowed) {
      core_.post([allowed](ServerProgram& program) { program.delegate().changedRevealPhoto(allowed); });
    };
    actions.showConsole = [this] {
      core_.post([](ServerProgram& program) { program.delegate().showConsole(); });
    };
    actions.dontShowHelp = [this](bool hidden) { defaults_.setBool("DontShowHelp", hidden); };
    actions.renewWebKey = [this] { core_.post([](ServerProgram& program) { program.renewWebKey(); }); };
    return actions;
  }

  void chooseLibrary(const std::string& folder) {
    core_.post([this, folder](ServerProgram& program) {
      const std::string why = program.delegate().changedLibraryPath(folder);
      if (why.empty()) return;
      const auto found = program.delegate().librariesNear(folder);
      QMetaObject::invokeMethod(
          &window_, [this, why, found] { window_.refuseLibrary(why, found); }, Qt::QueuedConnection);
    });
  }

  // Core thread.
  void postStatus(const ServerStatus& status) {
    QMetaObject::invokeMethod(
        &window_, [this, status] { window_.showStatus(status); }, Qt::QueuedConnection);
  }

  // Posts a call to the core thread. If the previous call has not run yet, the core thread is busy.
  void checkCore() {
    window_.showBusy(answered_ != asked_);
    if (answered_ != asked_) return;
    const int number = ++asked_;
    core_.post([this, number](ServerProgram&) { answered_ = number; });
  }

  UserDefaults& defaults_;
  MainWindow window_;
  ConsoleWindow console_;
  QTimer busyCheck_;
  int asked_ = 0;
  std::atomic<int> answered_{0};
  CoreThread core_;
};

void setUpApplication(QTranslator& translator, const std::string& language) {
  QApplication::setApplicationName(QStringLiteral("MoxtelServer"));
  QApplication::setDesktopFileName(QStringLiteral("moxtelserver"));
  QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("moxtelserver")));
  setTranslator(translationsFrom(programFolder() + "/../share/moxtelserver/translations", language));
  // Qt's own texts, such as a file dialog's buttons, in the same language as ours; English if there is no
  // file.
  if (translator.load("qtbase_" + QString::fromStdString(language),
                      QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
    QApplication::installTranslator(&translator);
  }
}

void handleSignal(Desktop& desktop, int signal) {
  if (signal == SIGHUP) {
    desktop.core().post([](ServerProgram& program) { program.delegate().reload(); });
  } else if (signal == SIGUSR1) {
    QVSocketServer::disconnect();
  } else {
    QApplication::quit();
  }
}

int serve(int argc, char** argv) {
  UserDefaults defaults(makeUserSettingsStore());
  const ProgramDescription description{
      "MoxtelServer", "Serves an iPhoto, Aperture or Photos library to Moxtel clients on the network.", {}};
  const std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
  if (const auto status = takeCommandLine(description, arguments, defaults)) return *status;

  if (lacksDisplay()) {
    std::cerr << "MoxtelServer: there is no display for windows; use moxtelserverd, which needs none.\n";
    return kNoDisplayStatus;
  }
  // Qt gets only the program's name: the arguments are the server's.
  int qtArgc = argc > 0 ? 1 : 0;
  QApplication application(qtArgc, argv);
  const std::string language = userLanguage();
  QTranslator translator;
  setUpApplication(translator, language);

  Desktop desktop(defaults, language);
  const auto postToMain = [&application](std::function<void()> call) {
    QMetaObject::invokeMethod(&application, std::move(call), Qt::QueuedConnection);
  };
  const SignalWatcher signals(SignalWatcher::usualSignals(), postToMain,
                              [&desktop](int signal) { handleSignal(desktop, signal); });
  return QApplication::exec();
}

}  // namespace
}  // namespace moxtel

int main(int argc, char** argv) {
  moxtel::prepareProcess();
  return moxtel::runProgram([&] { return moxtel::serve(argc, argv); });
}
