#include "library/answers/RuleDates.h"

#include <gtest/gtest.h>

#include "library/answers/FoldedText.h"
#include "tests/library/LocalTimeZone.h"

namespace moxtel::test {
namespace {

constexpr double kHour = 3600;
constexpr double kDay = 24 * kHour;
// 2016-07-12 00:00:00 UTC, in seconds since 2001-01-01 UTC.
constexpr double kSummerDay = 489974400;

TEST(RuleDates, readsADayInItsTimeZone) {
  const auto utc = dayNamed("7/12/2016 UTC");
  ASSERT_TRUE(utc);
  EXPECT_EQ(utc->begin, kSummerDay);
  EXPECT_EQ(utc->end, kSummerDay + kDay);
  const auto angeles = dayNamed("7/12/2016 America/Los_Angeles");
  ASSERT_TRUE(angeles);
  EXPECT_EQ(angeles->begin, kSummerDay + 7 * kHour);
  const auto shortened = dayNamed("3/27/2016 Europe/Zurich");
  ASSERT_TRUE(shortened);
  EXPECT_EQ(shortened->end - shortened->begin, 23 * kHour) << "summer time begins";
}

TEST(RuleDates, cutsTheDayWhereTheMachineIsWithoutAKnownZone) {
  const LocalTimeZone here("Asia/Tokyo");
  for (const char* text : {"7/12/2016", "7/12/2016 ", "7/12/2016 Atlantis/Main"}) {
    const auto day = dayNamed(text);
    ASSERT_TRUE(day) << text;
    EXPECT_EQ(day->begin, kSummerDay - 9 * kHour) << text;
  }
}

TEST(RuleDates, readsNoOtherText) {
  for (const char* text : {"", "12", "7/12", "7/12/16 UTC", "13/1/2016 UTC", "2/30/2016 UTC", "0/1/2016 UTC",
                           "2016-07-12", "7-12-2016 UTC", "x/12/2016 UTC", "7/12/2016UTC", "7/12/99999 UTC"})
    EXPECT_FALSE(dayNamed(text)) << text;
}

TEST(RuleDates, countsBackFromToday) {
  const LocalTimeZone utc("UTC");
  const Date noon{kSummerDay + 12 * kHour};
  const auto days = lastDays(noon, 30, "days");
  ASSERT_TRUE(days);
  EXPECT_EQ(days->begin, kSummerDay - 30 * kDay);
  EXPECT_EQ(days->end, kSummerDay + kDay);
  EXPECT_EQ(lastDays(noon, 2, "weeks")->begin, kSummerDay - 14 * kDay);
  EXPECT_EQ(lastDays(noon, 1, "months")->begin, kSummerDay - 30 * kDay);
  EXPECT_EQ(lastDays(noon, 1, "years")->begin, kSummerDay - 366 * kDay);
  EXPECT_FALSE(lastDays(noon, 3, "fortnights"));
  EXPECT_FALSE(lastDays(noon, -1, "days"));
  EXPECT_FALSE(lastDays(noon, 2'000'000'000, "years"));
}

TEST(RuleDates, numbersTheLocalDays) {
  const LocalTimeZone utc("UTC");
  EXPECT_EQ(dayNumber({kSummerDay}), dayNumber({kSummerDay + kDay - 1}));
  EXPECT_EQ(dayNumber({kSummerDay}) + 1, dayNumber({kSummerDay + kDay}));
}

TEST(FoldedText, ignoresCaseAndAccents) {
  EXPECT_EQ(foldedText("Beach 12"), "beach 12");
  EXPECT_EQ(foldedText("ÉTÉ à la PLAGE"), "ete a la plage");
  EXPECT_EQ(foldedText("e\u0301te\u0301"), foldedText("été"));
  EXPECT_EQ(foldedText("Straße"), foldedText("STRASSE"));
  EXPECT_EQ(foldedText("富士山"), "富士山");
  EXPECT_EQ(foldedText(""), "");
}

}  // namespace
}  // namespace moxtel::test
