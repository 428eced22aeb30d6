#include "app/windows/WindowDialogs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAction>
#include <QCheckBox>
#include <QDialog>
#include <QLabel>
#include <QMainWindow>
#include <QMenu>
#include <QTextBrowser>
#include <set>

#include "app/windows/AboutDialog.h"
#include "app/windows/MainMenu.h"
#include "app/windows/TakeHomeDialog.h"
#include "platform/settings/UserDefaults.h"
#include "platform/system/Translations.h"
#include "support/Localization.h"

namespace moxtel {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class WindowDialogsTest : public testing::Test {
 protected:
  WindowDialogsTest() {
    window.setMenuBar(menu);
    dialogs.addTo(*menu);
    dialogs.setHelp("<h2>Welcome</h2>");
  }
  ~WindowDialogsTest() override { setTranslator({}); }

  QAction& action(const QString& text) {
    for (QAction* found : window.findChildren<QAction*>()) {
      if (found->text() == text && !found->menu()) return *found;
    }
    throw std::runtime_error(text.toStdString());
  }
  std::vector<std::string> titles() {
    std::vector<std::string> found;
    for (const QDialog* dialog : window.findChildren<QDialog*>()) {
      if (dialog->isVisible()) found.push_back(dialog->windowTitle().toStdString());
    }
    return found;
  }
  void speakGerman() { setTranslator(translationsFrom(MOXTEL_TRANSLATIONS, "de")); }

  static MainMenu::Actions noActions() {
    return {[] {}, [](const std::string&) {}, [] {}, [] {}};
  }

  QMainWindow window;
  MainMenu* menu = new MainMenu(noActions());
  UserDefaults defaults;
  std::vector<std::string> requested;
  WindowDialogs dialogs{window,
                        defaults,
                        {[this](bool hidden) { requested.emplace_back(hidden ? "hide help" : "show help"); },
                         [this] { requested.emplace_back("restart"); }}};
};

TEST_F(WindowDialogsTest, openEachDialogOnce) {
  dialogs.setLibrary("/photos/Old Library");
  for (const char* text : {"Settings…", "Take Photos Home…", "Help", "About MoxtelServer"}) {
    action(text).trigger();
    action(text).trigger();
  }
  EXPECT_THAT(titles(),
              testing::UnorderedElementsAre("Settings", "Take photos home", "Help", "About MoxtelServer"));
}

TEST_F(WindowDialogsTest, takePhotosHomeOnlyFromALibrary) {
  EXPECT_FALSE(action("Take Photos Home…").isEnabled());
  dialogs.setLibrary("/photos/Old Library");
  EXPECT_TRUE(action("Take Photos Home…").isEnabled());
  dialogs.setLibrary(std::nullopt);
  EXPECT_FALSE(action("Take Photos Home…").isEnabled());
}

TEST_F(WindowDialogsTest, keepWhetherTheHelpIsShownAtTheStart) {
  defaults.setBool("DontShowHelp", true);
  dialogs.showHelp();
  EXPECT_EQ(window.findChild<QTextBrowser*>("helpText")->toPlainText(), "Welcome");
  auto* hide = window.findChild<QCheckBox*>("dontShowHelp");
  EXPECT_TRUE(hide->isChecked());
  EXPECT_THAT(requested, ElementsAre());
  hide->click();
  EXPECT_THAT(requested, ElementsAre("show help"));
}

TEST_F(WindowDialogsTest, haveNoHelpWithoutAText) {
  dialogs.setHelp({});
  EXPECT_FALSE(action("Help").isEnabled());
  dialogs.showHelp();
  EXPECT_THAT(titles(), ElementsAre());
}

TEST_F(WindowDialogsTest, fitASmallScreen) {
  constexpr QSize kSmall{640, 400};  // 1280 × 800 at 200 %
  dialogs.setLibrary("/photos/Old Library");
  for (const bool german : {false, true}) {
    if (german) speakGerman();
    QMainWindow other;
    WindowDialogs more(other, defaults, {[](bool) {}, [] {}});
    auto* otherMenu = new MainMenu(noActions());
    other.setMenuBar(otherMenu);
    more.addTo(*otherMenu);
    more.setHelp("x");
    more.setLibrary("/photos/Old Library");
    for (QAction* each : other.findChildren<QAction*>()) {
      if (!each->menu()) each->trigger();
    }
    EXPECT_EQ(other.findChildren<QDialog*>().size(), 4);
    for (const QDialog* dialog : other.findChildren<QDialog*>()) {
      const QSize least = dialog->minimumSizeHint();
      EXPECT_EQ(least, least.boundedTo(kSmall)) << dialog->windowTitle().toStdString();
    }
  }
}

TEST_F(WindowDialogsTest, nameVersionLicenseAndLibraries) {
  const std::unique_ptr<QDialog> about(makeAboutDialog());
  const auto text = [&](const char* name) { return about->findChild<QLabel*>(name)->text().toStdString(); };
  EXPECT_EQ(text("version"), "MoxtelServer 1.4 (402)");
  EXPECT_THAT(text("license"), HasSubstr("version 3"));
  EXPECT_THAT(text("libraries"), HasSubstr("SQLite"));
}

// Of the buttons and fields that one page shows.
void expectDistinctAccessKeys(const QWidget& page) {
  std::set<std::string> seen;
  const auto add = [&](const QString& text) {
    const QKeySequence key = QKeySequence::mnemonic(text);
    if (key.isEmpty()) return;
    EXPECT_TRUE(seen.insert(key.toString().toStdString()).second) << text.toStdString();
  };
  for (const auto* button : page.findChildren<QAbstractButton*>()) {
    if (button->isVisibleTo(&page)) add(button->text());
  }
  for (const auto* label : page.findChildren<QLabel*>()) {
    if (label->buddy() && label->isVisibleTo(&page)) add(label->text());
  }
}

TEST_F(WindowDialogsTest, haveDistinctAccessKeys) {
  for (const bool german : {false, true}) {
    if (german) speakGerman();
    expectDistinctAccessKeys(TakeHomeDialog("/photos/Old Library", "/no/such/program"));
  }
}

}  // namespace
}  // namespace moxtel
