// The main window: shows the served library, the network state and the devices, and has buttons and a menu
// for the user's actions. While no library is served it shows how to choose one.
//
// Lives on the windows' thread. Gets the server's state through showStatus and showLines, and requests
// actions through MainWindowActions. Never waits for the server.
#pragma once

#include <QLabel>
#include <QMainWindow>
#include <functional>
#include <string>
#include <vector>

#include "app/OfferedLibrary.h"
#include "app/ServerStatus.h"
#include "app/windows/CloseQuestion.h"
#include "app/windows/DesktopSettings.h"
#include "app/windows/LibraryChoice.h"
#include "app/windows/Question.h"
#include "console/MXSConsole.h"

class QCheckBox;
class QFormLayout;
class QPlainTextEdit;
class QPushButton;
class QStackedWidget;

namespace moxtel {

class DevicesPanel;
class MainMenu;
class PagePanel;
class StartPanel;

// The user's actions. Called on the windows' thread; they must not block.
struct MainWindowActions {
  std::function<void(const std::string& folder)> chooseLibrary;
  std::function<void()> disconnectClient;
  // Reads the library again, and disconnects the handheld.
  std::function<void()> reload;
  std::function<void(bool prefers)> preferAperture;
  std::function<void(bool allowed)> revealPhoto;
  std::function<void()> showConsole;
  // Sends every device of the page away and makes another key.
  std::function<void()> renewWebKey;
  // Who may look at the page, as in the setting "WebAccess".
  std::function<void(const std::string& access)> setWebAccess;
  // Ends the program without a question.
  std::function<void()> quit;
  // What closing the window does, and how the user wants it from now on.
  std::function<OnClose()> onClose;
  std::function<void(OnClose choice)> setOnClose;
};

class MainWindow final : public QMainWindow {
 public:
  explicit MainWindow(MainWindowActions actions, QWidget* parent = nullptr);

  void showStatus(const ServerStatus& status);
  // Adds new lines of the console; the last few stay visible.
  void showLines(const std::vector<ConsoleLine>& lines);
  // Shows whether the core thread is busy with a long reply or a script.
  void showBusy(bool busy);
  // Shows libraries that were found on this computer, for the first start. Searching: more may follow.
  void showFound(const std::vector<OfferedLibrary>& libraries, bool isSearching);

  // Brings the window to the front, also if it was closed while the program went on.
  void bringToFront();

  LibraryChoice& choice() { return choice_; }
  MainMenu& menu() { return *menu_; }
  // Asks before what cannot be undone. Tests replace it.
  Ask ask;
  AskClosing askClosing;

 protected:
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  void closeEvent(QCloseEvent* event) override;

 private:
  QWidget* makeServedView();
  QWidget* makeLibraryGroup();
  QWidget* makeNetworkGroup();
  QWidget* makeButtons();
  QWidget* makeLastLines();
  QLabel* addRow(QFormLayout& form, const QString& name, const char* objectName);
  void makeMenu();
  void reload();
  void closeAs(OnClose choice);
  void chooseLibrary();
  void showLibrary(const ServerStatus& status);
  void showNetwork(const ServerStatus& status);

  MainWindowActions actions_;
  LibraryChoice choice_;
  std::string connected_;  // names of the devices
  std::string handheld_;   // its name; empty without one
  MainMenu* menu_ = nullptr;
  QStackedWidget* views_ = nullptr;
  StartPanel* start_ = nullptr;
  DevicesPanel* devices_ = nullptr;
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
  QCheckBox* preferAperture_ = nullptr;
  QCheckBox* revealPhoto_ = nullptr;
  QPlainTextEdit* lastLines_ = nullptr;
};

}  // namespace moxtel
