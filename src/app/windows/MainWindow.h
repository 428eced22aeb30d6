// The main window: shows the served library, the network state and the client, and has buttons for the user's
// actions.
//
// Lives on the windows' thread. Gets the server's state through showStatus and showLines, and requests
// actions through MainWindowActions. Never waits for the server.
#pragma once

#include <QLabel>
#include <QMainWindow>
#include <functional>
#include <string>
#include <vector>

#include "app/ServerStatus.h"
#include "console/MXSConsole.h"
#include "library/LibrarySearch.h"

class QCheckBox;
class QFormLayout;
class QPlainTextEdit;
class QPushButton;
class QTextBrowser;

namespace moxtel {

class PagePanel;

// The user's actions. Called on the windows' thread; they must not block.
struct MainWindowActions {
  std::function<void(const std::string& folder)> chooseLibrary;
  std::function<void()> disconnectClient;
  // Reads the library again.
  std::function<void()> reload;
  std::function<void(bool prefers)> preferAperture;
  std::function<void(bool allowed)> revealPhoto;
  std::function<void()> showConsole;
  std::function<void(bool hidden)> dontShowHelp;
  // Sends every device of the page away and makes another key.
  std::function<void()> renewWebKey;
};

class MainWindow final : public QMainWindow {
 public:
  explicit MainWindow(MainWindowActions actions, QWidget* parent = nullptr);

  void showStatus(const ServerStatus& status);
  // Adds new lines of the console; the last few stay visible.
  void showLines(const std::vector<ConsoleLine>& lines);
  // Shows whether the core thread is busy with a long reply or a script.
  void showBusy(bool busy);
  // Sets the help text; hidden: the user does not want it at startup.
  void setHelp(const QString& html, bool hidden);
  // Shows that the chosen folder cannot be served, and why; or the libraries that were found in its place,
  // for the user to choose one.
  void refuseLibrary(const std::string& why, const std::vector<FoundLibrary>& found);

  // Shows a folder dialog that starts in a given folder; an empty result means canceled. Tests replace it.
  std::function<QString(const QString& begin)> askForFolder;
  // Shows a message box. Tests replace it.
  std::function<void(const QString& title, const QString& text)> showMessage;

 private:
  QWidget* makeLibraryGroup();
  QWidget* makeNetworkGroup();
  QWidget* makeButtons();
  QWidget* makeLastLines();
  QWidget* makeHelp();
  QLabel* addRow(QFormLayout& form, const QString& name, const char* objectName);
  void makeShortcuts();
  void chooseLibrary();
  void showLibrary(const ServerStatus& status);
  void showNetwork(const ServerStatus& status);

  MainWindowActions actions_;
  QLabel* application_ = nullptr;
  QLabel* library_ = nullptr;
  QLabel* path_ = nullptr;
  QLabel* photos_ = nullptr;
  QLabel* albums_ = nullptr;
  QLabel* events_ = nullptr;
  QLabel* faces_ = nullptr;
  QLabel* addresses_ = nullptr;
  QLabel* port_ = nullptr;
  QLabel* published_ = nullptr;
  QLabel* client_ = nullptr;
  QLabel* busy_ = nullptr;
  QPushButton* disconnect_ = nullptr;
  PagePanel* page_ = nullptr;
  QPushButton* helpButton_ = nullptr;
  QCheckBox* preferAperture_ = nullptr;
  QCheckBox* revealPhoto_ = nullptr;
  QCheckBox* dontShowHelp_ = nullptr;
  QPlainTextEdit* lastLines_ = nullptr;
  QTextBrowser* help_ = nullptr;
  QWidget* helpBox_ = nullptr;
};

}  // namespace moxtel
