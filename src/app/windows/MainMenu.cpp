#include "app/windows/MainMenu.h"

#include <QAction>
#include <QMenu>

#include "console/window/WindowText.h"

namespace moxtel {

namespace {

// A name from outside must not make an access key.
QString withoutAccessKey(QString text) { return text.replace('&', "&&"); }

}  // namespace

QAction* MainMenu::add(QMenu& menu, const QString& text, const QKeySequence& keys,
                       std::function<void()> action, QAction* before) {
  auto* entry = new QAction(text, &menu);
  entry->setShortcut(keys);
  connect(entry, &QAction::triggered, &menu, [action = std::move(action)] { action(); });
  menu.insertAction(before, entry);
  return entry;
}

MainMenu::MainMenu(Actions actions, QWidget* parent) : QMenuBar(parent), actions_(std::move(actions)) {
  file_ = addMenu(WindowText::tr("&File"));
  add(*file_, WindowText::tr("Choose Library…"), QKeySequence::Open, actions_.chooseLibrary);
  recent_ = file_->addMenu(WindowText::tr("Recent Libraries"));
  recent_->setObjectName("recentLibraries");
  add(*file_, WindowText::tr("Reload"), QKeySequence::Refresh, actions_.reload);
  file_->addSeparator();
  QAction* quit = add(*file_, WindowText::tr("Quit"), QKeySequence::Quit, actions_.quit);
  quit->setMenuRole(QAction::QuitRole);
  quit->setShortcutContext(Qt::ApplicationShortcut);  // in the console, too
  options_ = addMenu(WindowText::tr("Opt&ions"));
  options_->setObjectName("options");
  showRecent({});
}

void MainMenu::showRecent(const std::vector<std::string>& paths) {
  recent_->clear();
  recent_->setEnabled(!paths.empty());
  for (const std::string& path : paths) {
    add(*recent_, withoutAccessKey(shown(path)), {}, [this, path] { actions_.serve(path); });
  }
}

}  // namespace moxtel
