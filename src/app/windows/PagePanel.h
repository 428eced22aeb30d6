// The section of the main window about the page for browsers: its address, the QR code that lets a phone in,
// the six digits, and who may look. Windows' thread.
#pragma once

#include <QGroupBox>
#include <functional>
#include <string>

#include "app/windows/Question.h"
#include "web/WebStatus.h"

class QComboBox;
class QLabel;
class QPushButton;

namespace moxtel {

class PagePanel final : public QGroupBox {
 public:
  struct Actions {
    // Sends every device of the page away and makes another key.
    std::function<void()> renewKey;
    // As the setting "WebAccess": "key", "open" or "off".
    std::function<void(const std::string& access)> setAccess;
  };
  PagePanel(Actions actions, Ask& ask, QWidget* parent = nullptr);

  void showStatus(const WebStatus& status);

 private:
  QWidget* makeDigitsRow();
  QWidget* makeAccessRow();
  void askForNewKey();
  void showAddress(const QString& text, bool isAddress);
  void showCode(const std::string& address);

  Actions actions_;
  Ask& ask_;
  QLabel* code_ = nullptr;
  QLabel* address_ = nullptr;
  QPushButton* copy_ = nullptr;
  QLabel* digits_ = nullptr;
  QComboBox* access_ = nullptr;
  QPushButton* renew_ = nullptr;
  std::string shownCode_;
};

}  // namespace moxtel
