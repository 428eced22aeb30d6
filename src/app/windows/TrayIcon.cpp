#include "app/windows/TrayIcon.h"

#include <QApplication>
#include <QMenu>
#include <QStyle>

#include "app/ConnectedDevices.h"
#include "console/window/WindowText.h"
#include "web/api/LibraryJson.h"

namespace moxtel {

TrayIcon::TrayIcon(Actions actions) : menu_(std::make_unique<QMenu>()) {
  QIcon picture = QApplication::windowIcon();
  // Not installed: without a picture there would be an empty place.
  if (picture.isNull()) picture = QApplication::style()->standardIcon(QStyle::SP_DriveNetIcon);
  icon_.setIcon(picture);
  menu_->addAction(WindowText::tr("Show MoxtelServer"), menu_.get(), actions.showWindow);
  menu_->addAction(WindowText::tr("Quit"), menu_.get(), actions.quit);
  icon_.setContextMenu(menu_.get());
  QObject::connect(&icon_, &QSystemTrayIcon::activated, menu_.get(),
                   [show = actions.showWindow](QSystemTrayIcon::ActivationReason reason) {
                     if (reason == QSystemTrayIcon::Trigger) show();
                   });
  icon_.show();
}

TrayIcon::~TrayIcon() = default;

void TrayIcon::showStatus(const ServerStatus& status) {
  const std::size_t devices = connectedDevices(status).size();
  const QString served =
      status.libraryPath ? shown(nameOfLibraryFolder(*status.libraryPath)) : WindowText::tr("No library yet");
  const QString connected = devices == 0   ? WindowText::tr("no device connected")
                            : devices == 1 ? WindowText::tr("1 device connected")
                                           : WindowText::tr("%1 devices connected").arg(devices);
  icon_.setToolTip("MoxtelServer: " + served + ", " + connected);
}

void TrayIcon::announce(const ConnectedDevice& device) {
  icon_.showMessage(WindowText::tr("A new device is connected"), shown(device.name),
                    QSystemTrayIcon::Information);
}

}  // namespace moxtel
