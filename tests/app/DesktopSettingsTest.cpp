#include "app/windows/DesktopSettings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAction>
#include <QMenu>

#include "app/windows/OptionsMenu.h"
#include "platform/settings/UserDefaults.h"
#include "tests/StringTable.h"
#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DesktopSettingsTest : public testing::Test {
 protected:
  UserDefaults defaults;
  DesktopSettings settings{defaults};
};

TEST_F(DesktopSettingsTest, keepsTheLastTenLibraries) {
  EXPECT_THAT(settings.recentLibraries(), IsEmpty());
  EXPECT_TRUE(settings.addRecentLibrary("/a"));
  EXPECT_FALSE(settings.addRecentLibrary("/a"));
  EXPECT_TRUE(settings.addRecentLibrary("/b=1"));
  EXPECT_TRUE(settings.addRecentLibrary("/a"));
  EXPECT_THAT(settings.recentLibraries(), ElementsAre("/a", "/b=1"));
  for (int i = 0; i < 12; ++i) settings.addRecentLibrary("/" + std::to_string(i));
  const auto paths = DesktopSettings(defaults).recentLibraries();
  EXPECT_EQ(paths.size(), 10u);
  EXPECT_EQ(paths.front(), "/11");
  EXPECT_EQ(paths.back(), "/2");
}

TEST_F(DesktopSettingsTest, keepsWhatClosingDoes) {
  EXPECT_EQ(settings.onClose(), OnClose::Ask);
  for (const OnClose choice : {OnClose::Background, OnClose::Quit, OnClose::Ask}) {
    settings.setOnClose(choice);
    EXPECT_EQ(DesktopSettings(defaults).onClose(), choice);
  }
  defaults.setString("OnClose", "nonsense");
  EXPECT_EQ(settings.onClose(), OnClose::Ask);
}

ConnectedDevice device(const std::string& name) { return {ConnectedDevice::Kind::Browser, name, "", 0}; }

TEST_F(DesktopSettingsTest, knowsADeviceOnceItWasConnected) {
  EXPECT_THAT(settings.takeNew({device("ipad"), device("10.0.0.1")}),
              ElementsAre(device("ipad"), device("10.0.0.1")));
  EXPECT_THAT(DesktopSettings(defaults).takeNew({device("10.0.0.1"), device("phone")}),
              ElementsAre(device("phone")));
}

TEST_F(DesktopSettingsTest, boundsWhatTheNetworkMakesItKeep) {
  EXPECT_THAT(settings.takeNew({device(""), device("<unknown>")}), IsEmpty());
  EXPECT_EQ(settings.takeNew({device(std::string(5000, 'x')), device("a b\nc")}).size(), 2u);
  EXPECT_EQ(defaults.stringForKey("KnownDevices"), std::string(64, 'x') + " a_b_c");
  std::vector<ConnectedDevice> many;
  for (int i = 0; i < 500; ++i) many.push_back(device("d" + std::to_string(i)));
  settings.takeNew(many);
  EXPECT_THAT(settings.takeNew({device("d499"), device("d300")}), IsEmpty());
  EXPECT_THAT(settings.takeNew({device("d299")}), ElementsAre(device("d299")));
}

class OptionsMenuTest : public DesktopSettingsTest {
 protected:
  QAction& entry(const QMenu& of, const char* text) {
    for (QAction* each : of.actions()) {
      if (each->text() == text) return *each;
    }
    throw std::runtime_error(text);
  }
  TemporaryFolder folder;
  Autostart autostart{folder.path().string(), "/usr/bin/MoxtelServer"};
  std::string problem;
  QMenu menu;
  OptionsMenu options{menu, settings, autostart, true,
                      [this](const QString& text) { problem = text.toStdString(); }};
};

TEST_F(OptionsMenuTest, switchesTheStartAtLogin) {
  QAction& login = entry(menu, "Start at Login");
  login.trigger();
  EXPECT_TRUE(autostart.isOn());
  EXPECT_TRUE(login.isChecked());
  login.trigger();
  EXPECT_FALSE(autostart.isOn());
  // Changed elsewhere, it is shown when the menu opens.
  EXPECT_EQ(autostart.set(true), "");
  Q_EMIT menu.aboutToShow();
  EXPECT_TRUE(login.isChecked());
  EXPECT_EQ(problem, "");
}

TEST_F(OptionsMenuTest, saysInTheUsersLanguageWhyThereIsNoStartAtLogin) {
  test::setStringTable({{"Not a directory", "Kein Ordner"}});
  QMenu other;
  const Autostart nowhere("/dev/null", "/program");
  std::string why;
  const OptionsMenu entries(other, settings, nowhere, true,
                            [&](const QString& text) { why = text.toStdString(); });
  entry(other, "Start at Login").trigger();
  EXPECT_EQ(why, "Kein Ordner");
  EXPECT_FALSE(entry(other, "Start at Login").isChecked());
  setTranslator({});
}

TEST_F(OptionsMenuTest, changesWhatClosingDoes) {
  const QMenu& closing = *entry(menu, "When the Window Is Closed").menu();
  entry(closing, "Keep Serving").trigger();
  EXPECT_EQ(settings.onClose(), OnClose::Background);
  entry(closing, "Quit MoxtelServer").trigger();
  EXPECT_EQ(settings.onClose(), OnClose::Quit);
  entry(closing, "Ask While a Device Is Connected").trigger();
  EXPECT_EQ(settings.onClose(), OnClose::Ask);
}

TEST_F(OptionsMenuTest, switchesNoticesWhichAreOffAtFirst) {
  QAction& notices = entry(menu, "Notify When a New Device Connects");
  EXPECT_FALSE(notices.isChecked());
  notices.trigger();
  EXPECT_TRUE(settings.notifiesNewDevices());
}

TEST_F(OptionsMenuTest, hasNoEntryForNoticesWhereThereIsNoIcon) {
  QMenu other;
  const OptionsMenu without(other, settings, autostart, false, [](const QString&) {});
  EXPECT_THROW(entry(other, "Notify When a New Device Connects"), std::runtime_error);
}

}  // namespace
}  // namespace moxtel
