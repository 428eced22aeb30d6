// The section of the main window about the devices that are connected: who, to what, since when. Windows'
// thread.
#pragma once

#include <QGroupBox>
#include <vector>

#include "app/ConnectedDevices.h"

class QTreeWidget;

namespace moxtel {

class DevicesPanel final : public QGroupBox {
 public:
  explicit DevicesPanel(QWidget* parent = nullptr);

  void showDevices(const std::vector<ConnectedDevice>& devices);

 private:
  QTreeWidget* list_;
  std::vector<ConnectedDevice> shown_;
};

}  // namespace moxtel
