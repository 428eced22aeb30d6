// What the main window shows while no library is served: one sentence, one button, and the libraries that
// were found on this computer. Windows' thread.
#pragma once

#include <QWidget>
#include <functional>
#include <string>
#include <vector>

#include "app/OfferedLibrary.h"

class QLabel;
class QListWidget;
class QPushButton;

namespace moxtel {

class StartPanel final : public QWidget {
 public:
  StartPanel(std::function<void()> choose, std::function<void(const std::string& path)> serve,
             QWidget* parent = nullptr);

  // Shows libraries to choose from. Searching: more may follow.
  void showFound(const std::vector<OfferedLibrary>& libraries, bool isSearching);

 private:
  void serveCurrent();

  std::function<void(const std::string& path)> serve_;
  QPushButton* choose_ = nullptr;
  QLabel* foundTitle_ = nullptr;
  QListWidget* found_ = nullptr;
  QPushButton* serveFound_ = nullptr;
};

}  // namespace moxtel
