// The icon in the desktop's panel, where the desktop has a place for it. Windows' thread.
#pragma once

#include <QSystemTrayIcon>
#include <functional>
#include <memory>

#include "app/ServerStatus.h"

class QMenu;

namespace moxtel {

struct ConnectedDevice;

class TrayIcon final {
 public:
  struct Actions {
    std::function<void()> showWindow;
    std::function<void()> quit;
  };
  explicit TrayIcon(Actions actions);
  ~TrayIcon();
  TrayIcon(const TrayIcon&) = delete;
  TrayIcon& operator=(const TrayIcon&) = delete;

  static bool isAvailable() { return QSystemTrayIcon::isSystemTrayAvailable(); }
  // What is served, and how many devices are connected.
  void showStatus(const ServerStatus& status);
  // Shows a notice of the desktop about a device that connected for the first time.
  void announce(const ConnectedDevice& device);

  QSystemTrayIcon& icon() { return icon_; }
  QMenu& menu() { return *menu_; }

 private:
  std::unique_ptr<QMenu> menu_;
  QSystemTrayIcon icon_;
};

}  // namespace moxtel
