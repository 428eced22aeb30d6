#include "app/windows/WindowDialogs.h"

#include <QAction>
#include <QDialog>
#include <QMenu>

#include "app/windows/AboutDialog.h"
#include "app/windows/HelpDialog.h"
#include "app/windows/MainMenu.h"
#include "app/windows/SettingsDialog.h"
#include "app/windows/TakeHomeDialog.h"
#include "console/window/WindowText.h"
#include "platform/process/ThisProcess.h"
#include "platform/settings/UserDefaults.h"

namespace moxtel {

WindowDialogs::WindowDialogs(QWidget& window, UserDefaults& defaults, Actions actions)
    : window_(window), defaults_(defaults), actions_(std::move(actions)) {}

void WindowDialogs::setHelp(const QString& html) {
  help_ = html;
  if (helpAction_) helpAction_->setEnabled(!html.isEmpty());
}

void WindowDialogs::addTo(MainMenu& menus) {
  // Above the separator and "Quit".
  const QList<QAction*> entries = menus.fileMenu().actions();
  QAction* end = entries.size() < 2 ? nullptr : entries[entries.size() - 2];
  takeHomeAction_ = MainMenu::add(
      menus.fileMenu(), WindowText::tr("Take Photos Home…"), {}, [this] { showTakeHome(); }, end);
  takeHomeAction_->setEnabled(library_.has_value());
  MainMenu::add(menus.optionsMenu(), WindowText::tr("Settings…"), QKeySequence::Preferences, [this] {
    showSettings();
  })->setMenuRole(QAction::PreferencesRole);
  QMenu* help = menus.addMenu(WindowText::tr("&Help"));
  helpAction_ =
      MainMenu::add(*help, WindowText::tr("Help"), QKeySequence::HelpContents, [this] { showHelp(); });
  helpAction_->setEnabled(!help_.isEmpty());
  MainMenu::add(*help, WindowText::tr("About MoxtelServer"), {}, [this] {
    showAbout();
  })->setMenuRole(QAction::AboutRole);
}

void WindowDialogs::setLibrary(const std::optional<std::string>& path) {
  library_ = path;
  if (takeHomeAction_) takeHomeAction_->setEnabled(path.has_value());
}

void WindowDialogs::showOnce(QPointer<QDialog>& dialog, const std::function<QDialog*()>& make) {
  if (!dialog) {
    dialog = make();
    dialog->setAttribute(Qt::WA_DeleteOnClose);
  }
  dialog->show();
  dialog->raise();
  dialog->activateWindow();
}

void WindowDialogs::showHelp() {
  if (help_.isEmpty()) return;
  showOnce(helpDialog_, [this] {
    auto* dialog = new HelpDialog(actions_.dontShowHelp, &window_);
    dialog->setHelp(help_, defaults_.boolForKey("DontShowHelp"));
    return dialog;
  });
}

void WindowDialogs::showSettings() {
  showOnce(settings_, [this] { return new SettingsDialog(defaults_, actions_.restart, &window_); });
}

void WindowDialogs::showTakeHome() {
  if (!library_) return;
  const QString program = QString::fromStdString(programFolder() + "/moxtel-export");
  showOnce(takeHome_, [&] { return new TakeHomeDialog(*library_, program, &window_); });
}

void WindowDialogs::endExport() { delete takeHome_; }

void WindowDialogs::showAbout() {
  showOnce(about_, [this] { return makeAboutDialog(&window_); });
}

}  // namespace moxtel
