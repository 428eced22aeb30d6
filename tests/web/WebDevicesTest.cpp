#include "web/WebDevices.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace moxtel {
namespace {

using testing::ElementsAre;

class WebDevicesTest : public testing::Test {
 protected:
  WebDevices::Moment now{std::chrono::seconds(1'400'000'000)};
  WebDevices devices{[this] { return now; }};
};

TEST_F(WebDevicesTest, keepsTheFirstRequestAndTheLastLibraryOfEachDevice) {
  devices.note("10.0.0.2", "");
  now += std::chrono::seconds(10);
  devices.note("10.0.0.1", "familyid");
  devices.note("10.0.0.2", "oldoneid");
  now += std::chrono::seconds(10);
  devices.note("10.0.0.2", "");
  EXPECT_THAT(devices.present(), ElementsAre(WebDevice{"10.0.0.2", "oldoneid", 1'400'000'000},
                                             WebDevice{"10.0.0.1", "familyid", 1'400'000'010}));
}

TEST_F(WebDevicesTest, forgetsADeviceFiveMinutesAfterItsLastRequest) {
  devices.note("10.0.0.2", "familyid");
  now += WebDevices::kPresence;
  EXPECT_EQ(devices.present().size(), 1u);
  now += std::chrono::seconds(1);
  EXPECT_TRUE(devices.present().empty());
  devices.note("10.0.0.2", "");
  EXPECT_THAT(devices.present(), ElementsAre(WebDevice{"10.0.0.2", "", 1'400'000'301}));
}

TEST_F(WebDevicesTest, leavesOutTheOneThatWasSilentForLongest) {
  for (std::size_t i = 0; i <= WebDevices::kMostDevices; ++i) {
    devices.note("10.0.0." + std::to_string(i), "");
    now += std::chrono::seconds(1);
    if (i == 1) devices.note("10.0.0.0", "");
  }
  const auto present = devices.present();
  EXPECT_EQ(present.size(), WebDevices::kMostDevices);
  EXPECT_EQ(present[0].address, "10.0.0.0");
  EXPECT_EQ(present[1].address, "10.0.0.2");
}

TEST_F(WebDevicesTest, sendsAllAway) {
  devices.note("10.0.0.2", "");
  devices.clear();
  EXPECT_TRUE(devices.present().empty());
}

}  // namespace
}  // namespace moxtel
