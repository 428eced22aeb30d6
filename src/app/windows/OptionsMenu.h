// The entries of the menu "Options": start at login, what closing the window does, and notices about new
// devices. Windows' thread.
#pragma once

#include <QString>
#include <functional>

#include "app/windows/Autostart.h"
#include "app/windows/DesktopSettings.h"

class QMenu;

namespace moxtel {

class OptionsMenu final {
 public:
  // Adds the entries, which show the settings each time the menu opens. Borrows all but the last, which shows
  // why a setting could not be changed. Without notices there is no entry for them.
  OptionsMenu(QMenu& menu, DesktopSettings& settings, const Autostart& autostart, bool hasNotices,
              std::function<void(const QString& problem)> showProblem);

 private:
  void addClosing(QMenu& menu);

  DesktopSettings& settings_;
};

}  // namespace moxtel
