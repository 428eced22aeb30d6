// The menu bar of the main window. Windows' thread.
#pragma once

#include <QKeySequence>
#include <QMenuBar>
#include <functional>
#include <string>
#include <vector>

class QAction;
class QMenu;

namespace moxtel {

class MainMenu final : public QMenuBar {
 public:
  struct Actions {
    std::function<void()> chooseLibrary;
    std::function<void(const std::string& path)> serve;  // one of the recent libraries
    std::function<void()> reload;
    std::function<void()> quit;
  };
  explicit MainMenu(Actions actions, QWidget* parent = nullptr);

  // The libraries of the menu "Recent Libraries", the last one first.
  void showRecent(const std::vector<std::string>& paths);

  QMenu& fileMenu() { return *file_; }
  QMenu& optionsMenu() { return *options_; }
  // Adds an entry, before another one if there is one.
  static QAction* add(QMenu& menu, const QString& text, const QKeySequence& keys,
                      std::function<void()> action, QAction* before = nullptr);

 private:
  Actions actions_;
  QMenu* file_ = nullptr;
  QMenu* recent_ = nullptr;
  QMenu* options_ = nullptr;
};

}  // namespace moxtel
