// What happens when the user closes the main window. Windows' thread.
#pragma once

#include <QString>
#include <functional>

#include "app/windows/DesktopSettings.h"

class QWidget;

namespace moxtel {

// Background or Quit, and whether the choice shall be kept.
using TakeClosing = std::function<void(OnClose choice, bool isKept)>;
// Asks what to do while the devices are connected; not called back if the user cancels. Tests replace it.
using AskClosing = std::function<void(const QString& devices, TakeClosing take)>;

// Asks on a sheet of the window and returns at once.
AskClosing askClosingOn(QWidget& window);

}  // namespace moxtel
