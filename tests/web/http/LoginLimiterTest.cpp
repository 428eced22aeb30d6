#include "web/http/LoginLimiter.h"

#include <gtest/gtest.h>

namespace moxtel {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;

const LoginLimiter::Moment kStart{};

TEST(LoginLimiter, allowsTenWrongTriesAMinuteAndAddress) {
  LoginLimiter limiter;
  for (int i = 0; i < 10; ++i) {
    EXPECT_TRUE(limiter.mayTry("10.0.0.1", kStart + seconds(i)));
    limiter.wasWrong("10.0.0.1", kStart + seconds(i));
  }
  EXPECT_FALSE(limiter.mayTry("10.0.0.1", kStart + seconds(59)));
  EXPECT_TRUE(limiter.mayTry("10.0.0.2", kStart + seconds(59)));
  EXPECT_TRUE(limiter.mayTry("10.0.0.1", kStart + seconds(60)));
}

TEST(LoginLimiter, allowsAHundredWrongTriesAnHourInAll) {
  LoginLimiter limiter;
  for (int i = 0; i < 100; ++i) {
    const auto now = kStart + seconds(i * 10);
    EXPECT_TRUE(limiter.mayTry("10.0.0." + std::to_string(i), now));
    limiter.wasWrong("10.0.0." + std::to_string(i), now);
  }
  EXPECT_FALSE(limiter.mayTry("10.0.1.1", kStart + minutes(59)));
  EXPECT_TRUE(limiter.mayTry("10.0.1.1", kStart + minutes(60)));
}

}  // namespace
}  // namespace moxtel
