// MoxtelServer: the server with windows. The windows run on the main thread, the server on another.
#include <QApplication>
#include <QIcon>
#include <QLibraryInfo>
#include <QSocketNotifier>
#include <QSysInfo>
#include <QTimer>
#include <QTranslator>
#include <QWidget>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>

#include "app/CommandLine.h"
#include "app/CoreThread.h"
#include "app/ServerProgram.h"
#include "app/windows/Autostart.h"
#include "app/windows/DesktopSettings.h"
#include "app/windows/LibraryOffers.h"
#include "app/windows/MainMenu.h"
#include "app/windows/MainWindow.h"
#include "app/windows/OptionsMenu.h"
#include "app/windows/TrayIcon.h"
#include "app/windows/WindowDialogs.h"
#include "console/window/ConsoleWindow.h"
#include "console/window/WindowText.h"
#include "library/FolderAdvice.h"
#include "platform/files/UserFolders.h"
#include "platform/loop/SignalWatcher.h"
#include "platform/process/SingleInstance.h"
#include "platform/process/ThisProcess.h"
#include "platform/system/Translations.h"
#include "support/Localization.h"
#include "web/LibraryCatalog.h"

namespace moxtel {
namespace {

constexpr int kBusyCheckMilliseconds = 500;
constexpr int kNoDisplayStatus = 1;
// A disk or a network folder that does not answer does not delay the end for longer.
constexpr std::chrono::milliseconds kTimeToEnd{1500};

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
  // Without a library the window is shown in any case.
  Desktop(UserDefaults& defaults, const std::string& language, bool isInBackground)
      : defaults_(defaults),
        settings_(defaults),
        window_(actions()),
        dialogs_(window_, defaults,
                 {[this](bool hidden) { defaults_.setBool("DontShowHelp", hidden); }, [this] { restart(); }}),
        offers_(
            [this](const auto& libraries, bool isSearching) { window_.showFound(libraries, isSearching); }),
        core_(defaults, console_.view(), [this](const ServerStatus& status) { postStatus(status); }) {
    console_.setLinesObserver([this](const auto& lines) { window_.showLines(lines); });
    window_.menu().showRecent(settings_.recentLibraries());
    if (TrayIcon::isAvailable()) {
      tray_ = std::make_unique<TrayIcon>(
          TrayIcon::Actions{[this] { window_.bringToFront(); }, [] { QCoreApplication::exit(0); }});
    }
    options_ = std::make_unique<OptionsMenu>(window_.menu().optionsMenu(), settings_, autostart_,
                                             tray_ != nullptr, [this](const QString& problem) {
                                               window_.choice().showMessage(WindowText::tr("Start at Login"),
                                                                            problem, [] {});
                                             });
    const auto help = MXPAppDelegate::attributedStringHelp(language);
    dialogs_.addTo(window_.menu());
    dialogs_.setHelp(help ? QString::fromStdString(*help) : QString());
    QObject::connect(&busyCheck_, &QTimer::timeout, &window_, [this] { checkCore(); });
    busyCheck_.start(kBusyCheckMilliseconds);
    const bool isFirstStart = !defaults.stringForKey("LibraryPath");
    if (isInBackground && !isFirstStart) return;
    window_.bringToFront();
    // At the first start nothing hides the window, which says what to do.
    if (!isFirstStart && !defaults.boolForKey("DontShowHelp")) dialogs_.showHelp();
  }

  void bringToFront() { window_.bringToFront(); }
  // Before the destruction, which may wait for the server: the windows go, and a running export ends.
  void prepareToEnd() {
    for (QWidget* window : QApplication::topLevelWidgets()) window->hide();
    QGuiApplication::sync();
    dialogs_.endExport();
  }
  CoreThread& core() { return core_; }

 private:
  MainWindowActions actions() {
    MainWindowActions actions;
    actions.chooseLibrary = [this](const std::string& folder) { chooseLibrary(folder); };
    // Not posted to the core thread, which may be busy with a reply to that client.
    actions.disconnectClient = [] { QVSocketServer::disconnect(); };
    actions.reload = [this] { core_.post([](ServerProgram& program) { program.reload(); }); };
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
    actions.setWebAccess = [this](const std::string& access) {
      core_.post([access](ServerProgram& program) { program.setWebAccess(access); });
    };
    // Not QApplication::quit(), which closes the windows first.
    actions.quit = [] { QCoreApplication::exit(0); };
    actions.onClose = [this] { return settings_.onClose(); };
    actions.setOnClose = [this](OnClose choice) { settings_.setOnClose(choice); };
    actions.renewWebKey = [this] { core_.post([](ServerProgram& program) { program.renewWebKey(); }); };
    return actions;
  }

  void chooseLibrary(const std::string& folder) {
    core_.post([this, folder](ServerProgram& program) {
      const std::string why = program.delegate().changedLibraryPath(folder);
      if (why.empty()) return;
      const auto found = program.delegate().librariesNear(folder);
      const std::string advice = found.empty() ? adviceAboutFolder(folder) : std::string();
      QMetaObject::invokeMethod(
          &window_, [this, why, advice, found] { window_.choice().refuse(why, found, advice); },
          Qt::QueuedConnection);
    });
  }

  // Core thread.
  void postStatus(const ServerStatus& status) {
    QMetaObject::invokeMethod(
        &window_, [this, status] { showStatus(status); }, Qt::QueuedConnection);
  }

  // With the settings as they are now.
  void restart() {
    core_.restart();
    answered_ = asked_;
  }

  void showStatus(const ServerStatus& status) {
    window_.showStatus(status);
    dialogs_.setLibrary(status.libraryProblem.empty() ? status.libraryPath : std::nullopt);
    offers_.setWanted(!status.libraryPath);
    if (status.libraryPath && status.libraryProblem.empty() &&
        settings_.addRecentLibrary(*status.libraryPath))
      window_.menu().showRecent(settings_.recentLibraries());
    const auto added = settings_.takeNew(connectedDevices(status));
    if (!tray_) return;
    tray_->showStatus(status);
    if (!settings_.notifiesNewDevices()) return;
    for (const ConnectedDevice& device : added) tray_->announce(device);
  }

  // Posts a call to the core thread. If the previous call has not run yet, the core thread is busy.
  void checkCore() {
    window_.showBusy(answered_ != asked_);
    if (answered_ != asked_) return;
    const int number = ++asked_;
    core_.post([this, number](ServerProgram&) { answered_ = number; });
  }

  UserDefaults& defaults_;
  DesktopSettings settings_;
  const Autostart autostart_;
  MainWindow window_;
  WindowDialogs dialogs_;
  std::unique_ptr<TrayIcon> tray_;
  std::unique_ptr<OptionsMenu> options_;
  LibraryOffers offers_;
  ConsoleWindow console_;
  QTimer busyCheck_;
  int asked_ = 0;
  std::atomic<int> answered_{0};
  CoreThread core_;
};

void setUpApplication(QTranslator& translator, const std::string& language) {
  QApplication::setApplicationName(QStringLiteral("MoxtelServer"));
  QApplication::setDesktopFileName(QStringLiteral("moxtelserver"));
  // Before installation, the icons are in the build folder.
  QIcon::setThemeSearchPaths(QIcon::themeSearchPaths()
                             << QString::fromStdString(programFolder() + "/../share/icons"));
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
    desktop.core().post([](ServerProgram& program) { program.reload(); });
  } else if (signal == SIGUSR1) {
    QVSocketServer::disconnect();
  } else {
    QCoreApplication::exit(0);
  }
}

// The exit status.
int raiseFirst(const SingleInstance& instance, bool isInBackground) {
  if (isInBackground || instance.raiseFirst()) return EXIT_SUCCESS;
  std::cerr << "MoxtelServer: it is running already, but does not show its window.\n";
  return EXIT_FAILURE;
}

int serve(int argc, char** argv) {
  UserDefaults defaults(makeUserSettingsStore());
  const ProgramDescription description{
      "MoxtelServer",
      "Serves an iPhoto, Aperture or Photos library to Moxtel clients on the network.",
      {{"--in-background", "start without showing the window, if a library is set"}}};
  std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
  const bool isInBackground = std::erase(arguments, "--in-background") > 0;
  if (const auto status = takeCommandLine(description, arguments, defaults)) return *status;

  if (lacksDisplay()) {
    std::cerr << "MoxtelServer: there is no display for windows; use moxtelserverd, which needs none.\n";
    return kNoDisplayStatus;
  }
  // A start with settings on the command line is another server, and so is one with another settings folder.
  const SingleInstance instance("moxtelserver-" + libraryIdOf(settingsFolder()));
  if (instance.isSecond() && arguments.empty()) return raiseFirst(instance, isInBackground);
  allowDescriptors(kDescriptorsOfServer);
  // Qt gets only the program's name: the arguments are the server's.
  int qtArgc = argc > 0 ? 1 : 0;
  QApplication application(qtArgc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  const std::string language = userLanguage();
  QTranslator translator;
  setUpApplication(translator, language);

  Desktop desktop(defaults, language, isInBackground);
  std::unique_ptr<QSocketNotifier> starts;
  if (instance.descriptor() >= 0) {
    starts = std::make_unique<QSocketNotifier>(instance.descriptor(), QSocketNotifier::Read);
    QObject::connect(starts.get(), &QSocketNotifier::activated, &application, [&] {
      if (instance.takeStart()) desktop.bringToFront();
    });
  }
  const auto postToMain = [&application](std::function<void()> call) {
    QMetaObject::invokeMethod(&application, std::move(call), Qt::QueuedConnection);
  };
  const SignalWatcher signals(SignalWatcher::usualSignals(), postToMain,
                              [&desktop](int signal) { handleSignal(desktop, signal); });
  const int status = QApplication::exec();
  exitWithin(kTimeToEnd);
  desktop.prepareToEnd();
  return status;
}

}  // namespace
}  // namespace moxtel

int main(int argc, char** argv) {
  moxtel::prepareProcess();
  return moxtel::runProgram([&] { return moxtel::serve(argc, argv); });
}
