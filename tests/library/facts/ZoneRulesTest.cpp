#include "library/facts/ZoneRules.h"

#include <gtest/gtest.h>

namespace moxtel {
namespace {

constexpr double kJanuary2009 = 1231200000;  // 2009-01-06 00:00:00 UTC
constexpr double kJuly2009 = 1246665600;     // 2009-07-04 00:00:00 UTC

TEST(ZoneRulesTest, followsTheRulesOfAZone) {
  ZoneRules rules;
  EXPECT_EQ(rules.offsetAt("Europe/Berlin", kJanuary2009), 3600);
  EXPECT_EQ(rules.offsetAt("Europe/Berlin", kJuly2009), 7200);
  EXPECT_EQ(rules.offsetAt("America/Los_Angeles", kJuly2009), -7 * 3600);
  EXPECT_EQ(rules.offsetAt("Asia/Kolkata", kJuly2009), 19800);
  EXPECT_EQ(rules.offsetAt("Europe/Berlin", kJanuary2009), 3600);
}

// 2009-03-29 01:00:00 UTC
TEST(ZoneRulesTest, changesAtTheSecond) {
  ZoneRules rules;
  EXPECT_EQ(rules.offsetAt("Europe/Berlin", 1238288399), 3600);
  EXPECT_EQ(rules.offsetAt("Europe/Berlin", 1238288400), 7200);
}

TEST(ZoneRulesTest, readsOffsetsInNames) {
  ZoneRules rules;
  EXPECT_EQ(rules.offsetAt("GMT", 0), 0);
  EXPECT_EQ(rules.offsetAt("GMT-0700", 0), -7 * 3600);
  EXPECT_EQ(rules.offsetAt("UTC+02:00", 0), 7200);
  EXPECT_EQ(rules.offsetAt("GMT+5:30", 0), 19800);
  EXPECT_EQ(rules.offsetAt("GMT+2", 0), 7200);
}

TEST(ZoneRulesTest, takesUnknownNamesForUtc) {
  ZoneRules rules;
  EXPECT_EQ(rules.offsetAt("", kJuly2009), 0);
  EXPECT_EQ(rules.offsetAt("Mars/Olympus", kJuly2009), 0);
  EXPECT_EQ(rules.offsetAt("../../../etc/passwd", kJuly2009), 0);
  EXPECT_EQ(rules.offsetAt("GMT+99", kJuly2009), 0);
  EXPECT_EQ(rules.offsetAt(std::string(100'000, 'A'), kJuly2009), 0);
}

TEST(ZoneRulesTest, givesWholeSecondsOfTheClock) {
  ZoneRules rules;
  EXPECT_EQ(rules.wallClock("Europe/Berlin", kJuly2009 + 0.7), static_cast<std::int64_t>(kJuly2009) + 7200);
  EXPECT_EQ(rules.wallClock("UTC", -0.5), -1);
  EXPECT_FALSE(rules.wallClock("UTC", 1e18));
  EXPECT_FALSE(rules.wallClock("UTC", -1e18));
}

TEST(ZoneRulesTest, staysRightWithMoreZonesThanItKeeps) {
  ZoneRules rules;
  for (std::size_t i = 0; i < 2 * ZoneRules::kMostZones; ++i) rules.offsetAt("Zone " + std::to_string(i), 0);
  EXPECT_EQ(rules.offsetAt("Europe/Berlin", kJuly2009), 7200);
}

}  // namespace
}  // namespace moxtel
