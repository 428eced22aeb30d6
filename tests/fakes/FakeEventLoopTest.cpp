#include "tests/fakes/FakeEventLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "platform/system/SystemLog.h"
#include "tests/fakes/FakeClock.h"
#include "tests/fakes/FakeRunningApplications.h"

namespace moxtel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

TEST(FakeEventLoop, runsPostedTasksOnlyWhenLet) {
  FakeEventLoop loop;
  std::vector<int> ran;
  loop.post([&] {
    ran.push_back(1);
    loop.post([&] { ran.push_back(3); });
  });
  loop.post([&] { ran.push_back(2); });
  EXPECT_TRUE(ran.empty());
  EXPECT_EQ(loop.posted(), 2u);
  loop.runPosted();
  EXPECT_THAT(ran, ElementsAre(1, 2, 3));
  EXPECT_EQ(loop.posted(), 0u);
}

TEST(FakeEventLoop, belongsToItsMakersThread) {
  FakeEventLoop loop;
  EXPECT_TRUE(loop.isCurrent());
  std::thread([&] { EXPECT_FALSE(loop.isCurrent()); }).join();
}

TEST(FakeEventLoop, callsTimersInTheOrderTheyComeDue) {
  FakeEventLoop loop;
  std::vector<int> ran;
  const auto late = loop.callAfter(3s, [&] { ran.push_back(3); });
  const auto again = loop.callEvery(2s, [&] { ran.push_back(2); });
  loop.advance(1999ms);
  EXPECT_TRUE(ran.empty());
  loop.advance(4001ms);
  EXPECT_THAT(ran, ElementsAre(2, 3, 2, 2));
  EXPECT_EQ(loop.timers(), 1u);
}

TEST(FakeEventLoop, callsNoCanceledTimer) {
  FakeEventLoop loop;
  auto timer = loop.callAfter(1s, [] { ADD_FAILURE(); });
  timer.reset();
  loop.advance(2s);
  EXPECT_EQ(loop.timers(), 0u);
}

TEST(FakeEventLoop, letsATimerCancelItself) {
  FakeEventLoop loop;
  int calls = 0;
  std::unique_ptr<Timer> timer;
  timer = loop.callEvery(1s, [&] {
    ++calls;
    timer.reset();
  });
  loop.advance(5s);
  EXPECT_EQ(calls, 1);
}

TEST(FakeEventLoop, logsExceptions) {
  const SystemLogCapture log;
  FakeEventLoop loop;
  EXPECT_FALSE(loop.performAndWait([] { throw std::runtime_error("x"); }));
  EXPECT_TRUE(loop.performAndWait([] {}));
  EXPECT_THAT(log.lines(), ElementsAre("uncaught exception: x"));
}

TEST(FakeClock, movesOnlyWhenMoved) {
  FakeClock clock;
  clock.set({100});
  clock.advance(1.5);
  EXPECT_EQ(clock.now(), (Date{101.5}));
  EXPECT_EQ(clock.now(), (Date{101.5}));
}

TEST(FakeRunningApplications, returnsTheNamesOfTheTestAndCountsTheQuestions) {
  FakeRunningApplications applications({"iPhoto"});
  EXPECT_THAT(applications.names(), ElementsAre("iPhoto"));
  applications.set({});
  EXPECT_TRUE(applications.names().empty());
  EXPECT_EQ(applications.asked(), 2);
}

}  // namespace
}  // namespace moxtel
