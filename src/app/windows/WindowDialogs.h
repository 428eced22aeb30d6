// Opens the dialogs of the main window, each once: the help, the settings, "Take photos home…" and "About".
// Windows' thread.
#pragma once

#include <QPointer>
#include <functional>
#include <optional>
#include <string>

class QAction;
class QDialog;
class QWidget;

namespace moxtel {

class MainMenu;
class UserDefaults;

class WindowDialogs final {
 public:
  struct Actions {
    std::function<void(bool hidden)> dontShowHelp;
    // After settings have changed: the server is to start again.
    std::function<void()> restart;
  };
  // Borrows the window, which owns the dialogs, and the settings.
  WindowDialogs(QWidget& window, UserDefaults& defaults, Actions actions);

  // Without a text there is no help.
  void setHelp(const QString& html);
  void showHelp();
  // Adds entries for the dialogs, and the help's menu.
  void addTo(MainMenu& menus);
  // The library of "Take photos home…"; nothing: there is none.
  void setLibrary(const std::optional<std::string>& path);
  // Closes "Take photos home…" and ends its export; waits for that, two seconds at most.
  void endExport();

 private:
  void showSettings();
  void showTakeHome();
  void showAbout();
  void showOnce(QPointer<QDialog>& dialog, const std::function<QDialog*()>& make);

  QWidget& window_;
  UserDefaults& defaults_;
  const Actions actions_;
  QString help_;
  std::optional<std::string> library_;
  QAction* takeHomeAction_ = nullptr;
  QAction* helpAction_ = nullptr;
  QPointer<QDialog> helpDialog_;
  QPointer<QDialog> settings_;
  QPointer<QDialog> takeHome_;
  QPointer<QDialog> about_;
};

}  // namespace moxtel
