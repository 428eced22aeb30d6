#include "app/windows/OptionsMenu.h"

#include <QAction>
#include <QActionGroup>
#include <QMenu>

#include "console/window/WindowText.h"

namespace moxtel {

OptionsMenu::OptionsMenu(QMenu& menu, DesktopSettings& settings, const Autostart& autostart, bool hasNotices,
                         std::function<void(const QString& problem)> showProblem)
    : settings_(settings) {
  QAction* login = menu.addAction(WindowText::tr("Start at Login"));
  login->setObjectName("startAtLogin");
  login->setCheckable(true);
  QObject::connect(login, &QAction::triggered, &menu, [&autostart, login, showProblem](bool on) {
    const std::string problem = autostart.set(on);
    login->setChecked(autostart.isOn());
    if (!problem.empty()) showProblem(WindowText::of(problem));
  });
  QObject::connect(&menu, &QMenu::aboutToShow, login,
                   [&autostart, login] { login->setChecked(autostart.isOn()); });
  addClosing(menu);
  if (!hasNotices) return;
  QAction* notices = menu.addAction(WindowText::tr("Notify When a New Device Connects"));
  notices->setObjectName("notifyNewDevices");
  notices->setCheckable(true);
  notices->setChecked(settings_.notifiesNewDevices());
  QObject::connect(notices, &QAction::triggered, &menu,
                   [&settings](bool on) { settings.setNotifiesNewDevices(on); });
}

void OptionsMenu::addClosing(QMenu& menu) {
  QMenu* closing = menu.addMenu(WindowText::tr("When the Window Is Closed"));
  closing->setObjectName("onClose");
  auto* group = new QActionGroup(closing);
  const auto add = [&](const QString& text, OnClose choice) {
    QAction* entry = closing->addAction(text);
    entry->setCheckable(true);
    group->addAction(entry);
    QObject::connect(entry, &QAction::triggered, closing, [this, choice] { settings_.setOnClose(choice); });
    QObject::connect(closing, &QMenu::aboutToShow, entry,
                     [this, entry, choice] { entry->setChecked(settings_.onClose() == choice); });
  };
  add(WindowText::tr("Ask While a Device Is Connected"), OnClose::Ask);
  add(WindowText::tr("Keep Serving"), OnClose::Background);
  add(WindowText::tr("Quit MoxtelServer"), OnClose::Quit);
}

}  // namespace moxtel
