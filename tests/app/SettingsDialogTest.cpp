#include "app/windows/SettingsDialog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSpinBox>

#include "app/windows/FolderList.h"
#include "platform/settings/UserDefaults.h"

namespace moxtel {
namespace {

using testing::HasSubstr;

class SettingsDialogTest : public testing::Test {
 protected:
  void open() {
    dialog = std::make_unique<SettingsDialog>(defaults, [this] { ++changes; });
  }
  template <class Kind>
  Kind& part(const char* name) {
    Kind* found = dialog->findChild<Kind*>(name);
    if (!found) throw std::runtime_error(name);
    return *found;
  }
  std::optional<std::string> stored(const char* key) { return defaults.stringForKey(key); }
  // Empty if the dialog accepts.
  std::string problem() {
    dialog->accept();
    return dialog->result() == QDialog::Accepted ? "" : part<QLabel>("problem").text().toStdString();
  }

  UserDefaults defaults;
  int changes = 0;
  std::unique_ptr<SettingsDialog> dialog;
};

TEST_F(SettingsDialogTest, showsTheSettings) {
  defaults.setString("Port", "5000");
  defaults.setString("WebPort", "5001");
  defaults.setString("WebAccess", "open");
  defaults.setString("AllowedClients", "10.0.0.7");
  defaults.setString("WebLibraries", "/a:/b");
  defaults.setString("ReferencedFolders", "Disk=/c");
  open();
  EXPECT_EQ(part<QSpinBox>("Port").value(), 5000);
  EXPECT_EQ(part<QSpinBox>("WebPort").value(), 5001);
  EXPECT_EQ(part<QComboBox>("WebAccess").currentData(), "open");
  EXPECT_EQ(part<QLineEdit>("AllowedClients").text(), "10.0.0.7");
  EXPECT_EQ(part<FolderList>("WebLibraries").setting(), "/a:/b");
  EXPECT_EQ(part<FolderList>("ReferencedFolders").setting(), "Disk=/c");
}

TEST_F(SettingsDialogTest, storesNothingThatWasNotChanged) {
  open();
  EXPECT_EQ(problem(), "");
  EXPECT_EQ(changes, 0);
  for (const char* key : {"Port", "WebPort", "WebAccess", "AllowedClients", "WebLibraries",
                          "ReferencedFolders", "ErrorLogPath", "DebugLevel", "DebugLogPath"}) {
    EXPECT_EQ(stored(key), std::nullopt) << key;
  }
}

TEST_F(SettingsDialogTest, storesWhatTheCommandLineReads) {
  open();
  part<QSpinBox>("Port").setValue(5000);
  part<QSpinBox>("WebPort").setValue(5001);
  part<QComboBox>("WebAccess").setCurrentIndex(1);
  part<QLineEdit>("AllowedClients").setText(" 192.168.1.0/24 ");
  auto& libraries = part<FolderList>("WebLibraries");
  libraries.askForFolder = [] { return QStringLiteral("/photos/Ålesund"); };
  libraries.findChild<QPushButton*>("add")->click();
  part<QLineEdit>("ErrorLogPath").setText("/tmp/errors.log");
  part<QCheckBox>("DebugLevel").setChecked(true);
  part<QLineEdit>("DebugLogPath").setText("/tmp/debug.log");
  EXPECT_EQ(problem(), "");
  EXPECT_EQ(changes, 1);
  EXPECT_EQ(stored("Port"), "5000");
  EXPECT_EQ(stored("WebPort"), "5001");
  EXPECT_EQ(stored("WebAccess"), "open");
  EXPECT_EQ(stored("AllowedClients"), "192.168.1.0/24");
  EXPECT_EQ(stored("WebLibraries"), "/photos/Ålesund");
  EXPECT_EQ(stored("ErrorLogPath"), "/tmp/errors.log");
  EXPECT_EQ(stored("DebugLevel"), "1");
  EXPECT_EQ(stored("DebugLogPath"), "/tmp/debug.log");
}

TEST_F(SettingsDialogTest, removesASettingThatIsAsUsualAgain) {
  defaults.setString("Port", "5000");
  defaults.setString("AllowedClients", "10.0.0.7");
  open();
  part<QSpinBox>("Port").setValue(4250);
  part<QLineEdit>("AllowedClients").clear();
  EXPECT_EQ(problem(), "");
  EXPECT_EQ(stored("Port"), std::nullopt);
  EXPECT_EQ(stored("AllowedClients"), std::nullopt);
  EXPECT_EQ(changes, 1);
}

TEST_F(SettingsDialogTest, removesFolders) {
  defaults.setString("ReferencedFolders", "/a:/b");
  open();
  auto& folders = part<FolderList>("ReferencedFolders");
  folders.findChild<QListWidget*>()->setCurrentRow(0);
  folders.findChild<QPushButton*>("remove")->click();
  EXPECT_EQ(problem(), "");
  EXPECT_EQ(stored("ReferencedFolders"), "/b");
}

TEST_F(SettingsDialogTest, saysWhatIsWrongAndStoresNothing) {
  open();
  part<QSpinBox>("Port").setValue(5000);
  part<QLineEdit>("AllowedClients").setText("10.0.0.7, my phone");
  EXPECT_THAT(problem(), HasSubstr("\"my\" is neither an IPv4 address"));
  part<QLineEdit>("AllowedClients").clear();
  part<QSpinBox>("WebPort").setValue(5000);
  EXPECT_THAT(problem(), HasSubstr("needs another port than Moxtel, which has 5000"));
  part<QSpinBox>("WebPort").setValue(5001);
  part<FolderList>("ReferencedFolders").setSetting("photos");
  EXPECT_THAT(problem(), HasSubstr("\"photos\" is neither a path"));
  part<FolderList>("ReferencedFolders").setSetting("");
  for (const auto& [wrong, why] : {std::pair{"errors.log", "must begin with"},
                                   {"/tmp", "is a folder"},
                                   {"/no such/errors.log", "There is no folder"}}) {
    part<QLineEdit>("ErrorLogPath").setText(wrong);
    EXPECT_THAT(problem(), HasSubstr(why));
  }
  part<QLineEdit>("ErrorLogPath").clear();
  part<QCheckBox>("DebugLevel").setChecked(true);
  EXPECT_THAT(problem(), HasSubstr("Enter the file"));
  EXPECT_EQ(stored("Port"), std::nullopt);
  EXPECT_EQ(changes, 0);
}

TEST_F(SettingsDialogTest, leavesThePortOfAPageThatIsOff) {
  defaults.setString("WebPort", "0");
  open();
  EXPECT_EQ(part<QComboBox>("WebAccess").currentData(), "off");
  EXPECT_FALSE(part<QSpinBox>("WebPort").isEnabled());
  // The port of the page may equal the other one while there is no page.
  part<QSpinBox>("Port").setValue(4251);
  EXPECT_EQ(problem(), "");
  EXPECT_EQ(stored("WebAccess"), "off");
}

TEST_F(SettingsDialogTest, givesAPageThatWasOffAPort) {
  defaults.setString("WebPort", "0");
  open();
  part<QComboBox>("WebAccess").setCurrentIndex(0);
  EXPECT_EQ(problem(), "");
  EXPECT_EQ(stored("WebPort"), std::nullopt);
  EXPECT_EQ(changes, 1);
}

}  // namespace
}  // namespace moxtel
