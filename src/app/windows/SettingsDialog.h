// The settings in one dialog, the same that the command line and the settings file have: ports, who may
// connect, the page for browsers, folders, logs. Checks them, stores those that were changed, and says what
// is wrong in words. Windows' thread.
#pragma once

#include <QDialog>
#include <functional>
#include <string>

class QComboBox;
class QCheckBox;
class QFormLayout;
class QLabel;
class QLineEdit;
class QSpinBox;
class QTabWidget;

namespace moxtel {

class FolderList;
class UserDefaults;

class SettingsDialog final : public QDialog {
 public:
  // Borrows the settings. Calls `changed` after it has stored a change: the server is to start again.
  SettingsDialog(UserDefaults& defaults, std::function<void()> changed, QWidget* parent = nullptr);

  // Stores the settings and closes the dialog, or shows what is wrong.
  void accept() override;

 private:
  QWidget* makeNetwork();
  QWidget* makePage();
  QWidget* makeFolders();
  QWidget* makeLogs();
  void enableFields();
  bool refuse(int tab, QWidget* field, const QString& why);
  bool isRight();
  bool store();
  bool storeText(const char* key, const std::string& text, const std::string& usual = {});

  UserDefaults& defaults_;
  const std::function<void()> changed_;
  QTabWidget* tabs_ = nullptr;
  QLabel* problem_ = nullptr;
  QSpinBox* port_ = nullptr;
  QLineEdit* allowedClients_ = nullptr;
  QComboBox* webAccess_ = nullptr;
  QSpinBox* webPort_ = nullptr;
  FolderList* webLibraries_ = nullptr;
  FolderList* referencedFolders_ = nullptr;
  QLineEdit* errorLog_ = nullptr;
  QLineEdit* debugLog_ = nullptr;
  QCheckBox* debug_ = nullptr;
};

}  // namespace moxtel
