// MoxtelServer: the server with windows. The windows run on the main thread, the server on a second one.
#include <QApplication>
#include <QIcon>
#include <QLibraryInfo>
#include <QLocale>
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
#include "app/HelpText.h"
#include "app/ServerProgram.h"
#include "app/windows/MainWindow.h"
#include "app/windows/WindowTexts.h"
#include "console/window/ConsoleWindow.h"
#include "platform/loop/SignalWatcher.h"
#include "platform/process/ThisProcess.h"

namespace moxtel {
namespace {

constexpr int kHeartbeatMilliseconds = 500;
constexpr int kNoDisplayStatus = 1;

// Qt would abort with a core dump and not mention moxtelserverd.
bool lacksDisplay() {
  const auto names = {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"};
  return QSysInfo::kernelType() == QStringLiteral("linux") &&
         std::none_of(names.begin(), names.end(),
                      [](const char* name) { return qEnvironmentVariableIsSet(name); });
}

// The language of messages ("de"); numbers may use another locale.
std::string userLanguage() {
  return QLocale::system().uiLanguages().value(0).section('-', 0, 0).toStdString();
}

// Connects the windows and the server. On the main thread.
class Desktop final {
 public:
  Desktop(UserDefaults& defaults, const std::string& language)
      : defaults_(defaults),
        window_(actions()),
        core_(defaults, console_.view(), [this](const ServerStatus& status) { tell(status); }) {
    console_.setLinesObserver([this](const auto& lines) { window_.showLines(lines); });
    const auto help = helpText("Help", language);
    window_.setHelp(help ? QString::fromStdString(*help) : QString(), defaults.boolForKey("DontShowHelp"));
    QObject::connect(&heartbeat_, &QTimer::timeout, &window_, [this] { beat(); });
    heartbeat_.start(kHeartbeatMilliseconds);
    window_.show();
  }

  CoreThread& core() { return core_; }

 private:
  MainWindowActions actions() {
    MainWindowActions actions;
    actions.chooseLibrary = [this](const std::string& folder) { chooseLibrary(folder); };
    // Immediately: the core may still be writing a reply to that client.
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
    return actions;
  }

  void chooseLibrary(const std::string& folder) {
    core_.post([this, folder](ServerProgram& program) {
      const std::string why = program.delegate().changedLibraryPath(folder);
      if (why.empty()) return;
      QMetaObject::invokeMethod(
          &window_, [this, why] { window_.refuseLibrary(why); }, Qt::QueuedConnection);
    });
  }

  // On the core thread.
  void tell(const ServerStatus& status) {
    QMetaObject::invokeMethod(
        &window_, [this, status] { window_.showStatus(status); }, Qt::QueuedConnection);
  }

  // The core is busy if it has not answered a beat when the next one is due.
  void beat() {
    window_.showBusy(answered_ != asked_);
    if (answered_ != asked_) return;
    const int number = ++asked_;
    core_.post([this, number](ServerProgram&) { answered_ = number; });
  }

  UserDefaults& defaults_;
  MainWindow window_;
  ConsoleWindow console_;
  QTimer heartbeat_;
  int asked_ = 0;
  std::atomic<int> answered_{0};
  CoreThread core_;
};

int serve(int argc, char** argv) {
  UserDefaults defaults(makeUserSettingsStore());
  const ProgramDescription description{
      "MoxtelServer", "Serves an iPhoto or Aperture library to Moxtel clients on the network.", {}};
  const std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
  if (const auto status = takeCommandLine(description, arguments, defaults)) return *status;

  if (lacksDisplay()) {
    std::cerr << "MoxtelServer: there is no display to show windows on; moxtelserverd serves without them.\n";
    return kNoDisplayStatus;
  }
  // The arguments are parsed above: Qt gets only the program's name.
  int qtArgc = argc > 0 ? 1 : 0;
  QApplication application(qtArgc, argv);
  QApplication::setApplicationName(QStringLiteral("MoxtelServer"));
  QApplication::setDesktopFileName(QStringLiteral("moxtelserver"));
  QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("moxtelserver")));
  const std::string language = userLanguage();
  setStringTable(windowTexts(language));
  // Qt's own texts, such as the buttons of a file dialog, in the language of ours or else in English.
  QTranslator toolkitTexts;
  if (toolkitTexts.load("qtbase_" + QString::fromStdString(language),
                        QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
    QApplication::installTranslator(&toolkitTexts);
  }

  Desktop desktop(defaults, language);
  const auto post = [&application](std::function<void()> call) {
    QMetaObject::invokeMethod(&application, std::move(call), Qt::QueuedConnection);
  };
  const SignalWatcher signals(SignalWatcher::usualSignals(), post, [&desktop](int signal) {
    if (signal == SIGHUP) {
      desktop.core().post([](ServerProgram& program) { program.delegate().reload(); });
    } else if (signal == SIGUSR1) {
      QVSocketServer::disconnect();
    } else {
      QApplication::quit();
    }
  });
  return QApplication::exec();
}

}  // namespace
}  // namespace moxtel

int main(int argc, char** argv) {
  moxtel::prepareProcess();
  return moxtel::runProgram([&] { return moxtel::serve(argc, argv); });
}
