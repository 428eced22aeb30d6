// The section of the main window about the page for browsers: its address, the QR code that lets a phone in,
// the six digits and a button for another key. Windows' thread.
#pragma once

#include <QGroupBox>
#include <functional>

#include "web/WebStatus.h"

class QLabel;
class QPushButton;

namespace moxtel {

class PagePanel final : public QGroupBox {
 public:
  explicit PagePanel(std::function<void()> renewKey, QWidget* parent = nullptr);

  void showStatus(const WebStatus& status);

 private:
  void showCode(const std::string& address);

  QLabel* code_ = nullptr;
  QLabel* address_ = nullptr;
  QLabel* digits_ = nullptr;
  QPushButton* renew_ = nullptr;
  std::string shownCode_;
};

}  // namespace moxtel
