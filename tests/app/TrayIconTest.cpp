#include "app/windows/TrayIcon.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAction>
#include <QMenu>

namespace moxtel {
namespace {

using testing::ElementsAre;

class TrayIconTest : public testing::Test {
 protected:
  std::string tip() { return tray.icon().toolTip().toStdString(); }

  std::vector<std::string> requested;
  TrayIcon tray{{[this] { requested.emplace_back("show"); }, [this] { requested.emplace_back("quit"); }}};
};

TEST_F(TrayIconTest, saysWhatIsServedAndHowManyDevicesAreConnected) {
  ServerStatus status;
  tray.showStatus(status);
  EXPECT_EQ(tip(), "MoxtelServer: No library yet, no device connected");
  status.libraryPath = "/photos/Family.photolibrary";
  status.client = "ipad";
  tray.showStatus(status);
  EXPECT_EQ(tip(), "MoxtelServer: Family, 1 device connected");
  status.web.devices = {{"10.0.0.2", "", 0}};
  tray.showStatus(status);
  EXPECT_EQ(tip(), "MoxtelServer: Family, 2 devices connected");
}

TEST_F(TrayIconTest, showsTheWindowAndQuits) {
  for (QAction* action : tray.menu().actions()) action->trigger();
  EXPECT_THAT(requested, ElementsAre("show", "quit"));
  Q_EMIT tray.icon().activated(QSystemTrayIcon::Trigger);
  EXPECT_THAT(requested, ElementsAre("show", "quit", "show"));
}

TEST_F(TrayIconTest, hasAPictureWhereTheProgramIsNotInstalled) { EXPECT_FALSE(tray.icon().icon().isNull()); }

}  // namespace
}  // namespace moxtel
