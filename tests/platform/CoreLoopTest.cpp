#include "platform/loop/CoreLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/system/SystemLog.h"

namespace moxtel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

// A loop on its own thread, ended and joined with the test.
class RunningLoop {
 public:
  RunningLoop() : thread_([this] { code_ = loop.run(); }) {}
  ~RunningLoop() { stop(0); }
  int stop(int code) {
    loop.quit(code);
    if (thread_.joinable()) thread_.join();
    return code_;
  }
  CoreLoop loop;

 private:
  int code_ = -1;
  std::thread thread_;
};

TEST(CoreLoop, returnsTheCodeOfQuit) {
  CoreLoop loop;
  loop.post([&] { loop.quit(7); });
  EXPECT_EQ(loop.run(), 7);
}

TEST(CoreLoop, quitsFromAnotherThread) {
  RunningLoop running;
  EXPECT_EQ(running.stop(3), 3);
}

TEST(CoreLoop, keepsTheFirstCodeOfTwo) {
  CoreLoop loop;
  loop.quit(1);
  loop.quit(2);
  EXPECT_EQ(loop.run(), 1);
}

TEST(CoreLoop, runsTasksPostedBeforeQuitAndDropsLaterOnes) {
  CoreLoop loop;
  std::vector<int> ran;
  loop.post([&] { ran.push_back(1); });
  loop.post([&] { ran.push_back(2); });
  loop.quit();
  loop.post([&] { ran.push_back(3); });
  loop.run();
  EXPECT_THAT(ran, ElementsAre(1, 2));
}

TEST(CoreLoop, runsTasksInTheOrderOfPostingAndTheirOwnOnALaterTurn) {
  CoreLoop loop;
  std::vector<int> ran;
  loop.post([&] {
    loop.post([&] {
      ran.push_back(3);
      loop.quit();
    });
    ran.push_back(1);
  });
  loop.post([&] { ran.push_back(2); });
  loop.run();
  EXPECT_THAT(ran, ElementsAre(1, 2, 3));
}

TEST(CoreLoop, destroysDroppedTasks) {
  auto held = std::make_shared<int>(1);
  CoreLoop loop;
  loop.quit();
  loop.post([held] {});
  EXPECT_EQ(held.use_count(), 2);
  loop.run();
  EXPECT_EQ(held.use_count(), 1);
  loop.post([held] {});
  EXPECT_EQ(held.use_count(), 1);
}

TEST(CoreLoop, aDroppedTaskMayPostWhenDestroyed) {
  CoreLoop loop;
  loop.quit();
  const auto poster = std::shared_ptr<void>(nullptr, [&](void*) { loop.post([] {}); });
  loop.post([poster] {});
  EXPECT_EQ(loop.run(), 0);
}

TEST(CoreLoop, isCurrentOnItsThreadOnly) {
  RunningLoop running;
  bool inside = false;
  EXPECT_TRUE(running.loop.performAndWait([&] { inside = running.loop.isCurrent(); }));
  EXPECT_TRUE(inside);
  EXPECT_FALSE(running.loop.isCurrent());
}

TEST(CoreLoop, hasNoThreadBeforeItRunsAndKeepsItAfterwards) {
  CoreLoop loop;
  EXPECT_FALSE(loop.isCurrent());
  loop.quit();
  loop.run();
  EXPECT_TRUE(loop.isCurrent());
}

TEST(CoreLoop, performsAndWaitsFromAnotherThread) {
  RunningLoop running;
  int plain = 0;  // without a lock: the waiting makes it safe
  for (int i = 0; i < 200; ++i) EXPECT_TRUE(running.loop.performAndWait([&] { ++plain; }));
  EXPECT_EQ(plain, 200);
}

TEST(CoreLoop, performsAtOnceOnItsOwnThread) {
  CoreLoop loop;
  std::vector<int> ran;
  loop.post([&] {
    EXPECT_TRUE(loop.performAndWait([&] { ran.push_back(1); }));
    ran.push_back(2);
    loop.quit();
  });
  loop.run();
  EXPECT_THAT(ran, ElementsAre(1, 2));
}

TEST(CoreLoop, logsAnExceptionAndReleasesTheWaitingThread) {
  const SystemLogCapture log;
  RunningLoop running;
  EXPECT_FALSE(running.loop.performAndWait([] { throw std::runtime_error("no such album"); }));
  EXPECT_THAT(log.lines(), ElementsAre("uncaught exception: no such album"));
  EXPECT_TRUE(running.loop.performAndWait([] {}));
}

TEST(CoreLoop, logsAnExceptionOfAPostedTaskAndContinues) {
  const SystemLogCapture log;
  CoreLoop loop;
  loop.post([] { throw 1; });
  loop.post([&] { loop.quit(4); });
  EXPECT_EQ(loop.run(), 4);
  EXPECT_THAT(log.lines(), ElementsAre("uncaught exception"));
}

TEST(CoreLoop, releasesAWaitingThreadAtItsEnd) {
  CoreLoop loop;
  std::promise<void> waits;
  bool ran = false;
  std::future<bool> result;
  // The loop's only turn lasts until the other thread is about to wait and the quit is queued before its
  // task.
  loop.post([&] {
    loop.quit();
    result = std::async(std::launch::async, [&] {
      waits.set_value();
      return loop.performAndWait([&] { ran = true; });
    });
    waits.get_future().wait();
  });
  loop.run();
  EXPECT_FALSE(result.get());
  EXPECT_FALSE(ran);
}

TEST(CoreLoop, performsNothingAfterItsEnd) {
  CoreLoop loop;
  loop.quit();
  loop.run();
  bool ran = false;
  EXPECT_FALSE(loop.performAndWait([&] { ran = true; }));
  EXPECT_FALSE(
      std::async(std::launch::async, [&] { return loop.performAndWait([&] { ran = true; }); }).get());
  EXPECT_FALSE(ran);
}

TEST(CoreLoop, takesTasksFromManyThreadsAndLosesNone) {
  RunningLoop running;
  int count = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i) running.loop.post([&] { ++count; });
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_TRUE(running.loop.performAndWait([&] { EXPECT_EQ(count, 2000); }));
}

TEST(CoreLoop, keepsTheOrderOfOneThread) {
  RunningLoop running;
  std::vector<int> ran;
  std::vector<int> expected;
  for (int i = 0; i < 300; ++i) {
    running.loop.post([&ran, i] { ran.push_back(i); });
    expected.push_back(i);
  }
  EXPECT_TRUE(running.loop.performAndWait([] {}));
  EXPECT_EQ(ran, expected);
}

TEST(CoreLoop, callsADelayedCallOnceAndInTheOrderOfTheDelays) {
  CoreLoop loop;
  std::vector<int> ran;
  const auto later = loop.callAfter(30ms, [&] {
    ran.push_back(2);
    loop.quit();
  });
  const auto sooner = loop.callAfter(1ms, [&] { ran.push_back(1); });
  loop.run();
  EXPECT_THAT(ran, ElementsAre(1, 2));
}

TEST(CoreLoop, callsARepeatedCallUntilItIsDestroyedEvenByItself) {
  CoreLoop loop;
  int calls = 0;
  std::unique_ptr<Timer> timer;
  timer = loop.callEvery(1ms, [&, marker = std::string("still there after the timer is gone")] {
    if (++calls < 3) return;
    timer.reset();
    EXPECT_EQ(marker, "still there after the timer is gone");
    loop.quit();
  });
  loop.run();
  EXPECT_EQ(calls, 3);
}

TEST(CoreLoop, doesNotCallACanceledCall) {
  CoreLoop loop;
  auto canceled = loop.callAfter(1ms, [] { ADD_FAILURE() << "called"; });
  const auto after = loop.callAfter(10ms, [&] { loop.quit(); });
  canceled.reset();
  loop.run();
}

TEST(CoreLoop, aTimerMayOutliveItsLoop) {
  auto held = std::make_shared<int>(1);
  std::unique_ptr<Timer> timer;
  {
    CoreLoop loop;
    timer = loop.callAfter(1h, [held] {});
    loop.quit();
    loop.run();
  }
  timer.reset();
  EXPECT_EQ(held.use_count(), 1);
}

TEST(CoreLoop, aTimerMayCancelAnotherThatIsDueWithIt) {
  CoreLoop loop;
  std::unique_ptr<Timer> second;
  const auto first = loop.callAfter(0ms, [&] { second.reset(); });
  second = loop.callAfter(0ms, [] { ADD_FAILURE() << "called"; });
  const auto end = loop.callAfter(5ms, [&] { loop.quit(3); });
  EXPECT_EQ(loop.run(), 3);
}

TEST(CoreLoop, aTimerMadeByATaskOfAnotherThreadIsCalled) {
  RunningLoop running;
  std::promise<void> called;
  std::unique_ptr<Timer> timer;
  EXPECT_TRUE(
      running.loop.performAndWait([&] { timer = running.loop.callAfter(1ms, [&] { called.set_value(); }); }));
  called.get_future().wait();
  EXPECT_TRUE(running.loop.performAndWait([&] { timer.reset(); }));
}

TEST(CoreLoop, survivesAnExceptionFromATimer) {
  const SystemLogCapture log;
  CoreLoop loop;
  const auto bad = loop.callAfter(0ms, [] { throw std::runtime_error("timer"); });
  const auto end = loop.callAfter(5ms, [&] { loop.quit(); });
  loop.run();
  EXPECT_THAT(log.lines(), ElementsAre("uncaught exception: timer"));
}

TEST(CoreLoop, servesPostedTasksWhileTimersAreAlwaysDue) {
  CoreLoop loop;
  const auto busy = loop.callEvery(0ms, [] {});
  loop.post([&] { loop.post([&] { loop.quit(5); }); });
  EXPECT_EQ(loop.run(), 5);
}

}  // namespace
}  // namespace moxtel
