#include "platform/loop/Clock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <limits>

namespace moxtel {
namespace {

class LocalTime : public testing::Test {
 protected:
  // Rules instead of place names also work on machines without a zone database.
  static void setZone(const char* zone) {
    ::setenv("TZ", zone, 1);
    ::tzset();
  }
  static constexpr const char* kBerlin = "CET-1CEST,M3.5.0,M10.5.0/3";
};

Date unixTime(double seconds) { return {seconds - kReferenceDateAfterUnixEpoch}; }

TEST(SystemClock, countsFromTheReferenceDate) {
  const auto now = static_cast<double>(std::time(nullptr)) - kReferenceDateAfterUnixEpoch;
  EXPECT_NEAR(systemClock().now().seconds, now, 5);
}

TEST_F(LocalTime, isShownToTheMillisecond) {
  setZone("UTC0");
  EXPECT_EQ(localDateAndMilliseconds({0}), "2001-01-01 00:00:00.000");
  EXPECT_EQ(localDateAndMilliseconds({489999903.25}), "2016-07-12 07:05:03.250");
  EXPECT_EQ(localDateAndMilliseconds({0.9996}), "2001-01-01 00:00:00.999");
  EXPECT_EQ(localDateAndMilliseconds({-0.25}), "2000-12-31 23:59:59.750");
}

TEST_F(LocalTime, isTheZonesInSummerAndWinter) {
  setZone(kBerlin);
  EXPECT_EQ(localDateAndMilliseconds({489999903.25}), "2016-07-12 09:05:03.250");
  EXPECT_EQ(localDateAndMilliseconds(unixTime(1459040399)), "2016-03-27 01:59:59.000");
  EXPECT_EQ(localDateAndMilliseconds(unixTime(1459040400)), "2016-03-27 03:00:00.000");
  EXPECT_EQ(localDateAndMilliseconds(unixTime(1477789199)), "2016-10-30 02:59:59.000");
  EXPECT_EQ(localDateAndMilliseconds(unixTime(1477789200)), "2016-10-30 02:00:00.000");
}

TEST_F(LocalTime, hasTheDayOfItsZone) {
  setZone("UTC0");
  EXPECT_EQ(localDay(unixTime(1468364400), "yyyy-MM-dd"), "2016-07-12");
  setZone(kBerlin);
  EXPECT_EQ(localDay(unixTime(1468364400), "yyyy-MM-dd"), "2016-07-13");
  setZone("HST10");
  EXPECT_EQ(localDay(unixTime(1468364400), "dd.MM.yyyy"), "12.07.2016");
}

TEST_F(LocalTime, copiesTheRestOfAPattern) {
  setZone("UTC0");
  EXPECT_EQ(localDay({0}, "on dd/MM of yyyy!"), "on 01/01 of 2001!");
  EXPECT_EQ(localDay({0}, ""), "");
}

TEST_F(LocalTime, endsAtTheYearsThatACalendarCanShow) {
  setZone("UTC0");
  EXPECT_EQ(localDateAndMilliseconds({1e300}).substr(0, 4), "9999");
  EXPECT_EQ(localDateAndMilliseconds({-1e300}).substr(0, 4), "0001");
  EXPECT_EQ(localDay({std::numeric_limits<double>::infinity()}, "yyyy"), "9999");
  EXPECT_EQ(localDay({-std::numeric_limits<double>::infinity()}, "yyyy"), "0001");
  EXPECT_EQ(localDay({std::nan("")}, "yyyy-MM-dd"), "1970-01-01");
}

TEST_F(LocalTime, staysWithinTheYearsInEveryZone) {
  for (const char* zone : {"WEST-14", "EAST12"}) {
    setZone(zone);
    EXPECT_EQ(localDay({1e300}, "yyyy"), "9999");
    EXPECT_EQ(localDay({-1e300}, "yyyy"), "0001");
  }
}

}  // namespace
}  // namespace moxtel
