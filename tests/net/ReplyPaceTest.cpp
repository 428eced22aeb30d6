#include "net/ReplyPace.h"

#include <gtest/gtest.h>

namespace moxtel {
namespace {

using namespace std::chrono_literals;

constexpr std::uint64_t kKilobyte = 1024;

class ReplyPaceTest : public testing::Test {
 protected:
  // Takes bytes at a pace, asked once a second, until it is too slow; the seconds that passed.
  int secondsUntilTooSlow(std::uint64_t bytesPerSecond, int most) {
    for (int seconds = 1; seconds <= most; ++seconds) {
      now += 1s;
      taken += bytesPerSecond;
      if (pace.isTooSlow(now, taken)) return seconds;
    }
    return most;
  }

  ReplyPace::Moment now{1000s};
  ReplyPace pace{ReplyPace::Limits(), now};
  std::uint64_t taken = 0;
};

TEST_F(ReplyPaceTest, acceptsSixteenKilobytesASecond) {
  EXPECT_EQ(secondsUntilTooSlow(16 * kKilobyte, 3600), 3600);
}

TEST_F(ReplyPaceTest, rejectsLessAfterThirtySeconds) {
  EXPECT_EQ(secondsUntilTooSlow(16 * kKilobyte - 1, 3600), 30);
}

TEST_F(ReplyPaceTest, doesNotCountWhatWasTakenBeforeTheLastThirtySeconds) {
  taken = 100 << 20;
  EXPECT_FALSE(pace.isTooSlow(now, taken));
  EXPECT_LE(secondsUntilTooSlow(0, 3600), 31);
}

TEST_F(ReplyPaceTest, acceptsAPauseThatIsMadeUpFor) {
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(secondsUntilTooSlow(0, 25), 25);
    EXPECT_EQ(secondsUntilTooSlow(16 * kKilobyte * 30, 1), 1);
    EXPECT_FALSE(pace.isTooSlow(now, taken));
  }
}

TEST_F(ReplyPaceTest, doesNotDependOnHowOftenItIsAsked) {
  for (int i = 0; i < 29'999; ++i) EXPECT_FALSE(pace.isTooSlow(now += 1ms, 0));
  EXPECT_TRUE(pace.isTooSlow(now += 1ms, 0));
  ReplyPace rarely{ReplyPace::Limits(), now};
  EXPECT_TRUE(rarely.isTooSlow(now += 45s, 45 * 16 * kKilobyte - 1));
}

}  // namespace
}  // namespace moxtel
