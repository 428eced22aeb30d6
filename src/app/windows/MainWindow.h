// The main window: what is served, where, to whom, and the few things to be done about it.
//
// Lives on the windows' thread. It is told of the server by showStatus and showLines, and asks for things
// through MainWindowActions; it never waits for the server.
#pragma once

#include <QLabel>
#include <QMainWindow>
#include <functional>
#include <string>
#include <vector>

#include "app/ServerStatus.h"
#include "console/MXSConsole.h"

class QCheckBox;
class QFormLayout;
class QPlainTextEdit;
class QPushButton;
class QTextBrowser;

namespace moxtel {

// What the user may ask for. Called on the windows' thread; none of them may block.
struct MainWindowActions {
  std::function<void(const std::string& folder)> chooseLibrary;
  std::function<void()> disconnectClient;
  // Reads the library anew.
  std::function<void()> reload;
  std::function<void(bool prefers)> preferAperture;
  std::function<void(bool allowed)> revealPhoto;
  std::function<void()> showConsole;
  std::function<void(bool hidden)> dontShowHelp;
};

class MainWindow final : public QMainWindow {
 public:
  explicit MainWindow(MainWindowActions actions, QWidget* parent = nullptr);

  void showStatus(const ServerStatus& status);
  // The newest lines of the console; the last few are kept in sight.
  void showLines(const std::vector<ConsoleLine>& lines);
  // The server has not answered for a while: a long reply or a script holds it.
  void showBusy(bool busy);
  // The rich text, and whether it is to be seen at the start.
  void setHelp(const QString& html, bool hidden);
  // A folder that cannot be served, and why.
  void refuseLibrary(const std::string& why);

  // Asks for a folder, beginning at another; tests give one instead.
  std::function<QString(const QString& begin)> askForFolder;
  // Shows a message; tests listen instead.
  std::function<void(const QString& title, const QString& text)> showMessage;

 private:
  QWidget* makeLibraryGroup();
  QWidget* makeNetworkGroup();
  QWidget* makeButtons();
  QWidget* makeLastLines();
  QWidget* makeHelp();
  QLabel* addRow(QFormLayout& form, const char* key, const char* objectName);
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
  QPushButton* helpButton_ = nullptr;
  QCheckBox* preferAperture_ = nullptr;
  QCheckBox* revealPhoto_ = nullptr;
  QCheckBox* dontShowHelp_ = nullptr;
  QPlainTextEdit* lastLines_ = nullptr;
  QTextBrowser* help_ = nullptr;
  QWidget* helpBox_ = nullptr;
};

}  // namespace moxtel
