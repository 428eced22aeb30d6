#include "platform/loop/SignalWatcher.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <future>
#include <stdexcept>
#include <thread>

#include "platform/loop/CoreLoop.h"
#include "platform/system/SystemLog.h"

namespace moxtel {
namespace {

using testing::ElementsAre;

SignalWatcher::Post onto(CoreLoop& loop) {
  return [&loop](EventLoop::Task call) { loop.post(std::move(call)); };
}

TEST(SignalWatcher, handlesEverySignalOnTheLoopsThread) {
  CoreLoop loop;
  std::vector<int> handled;
  const SignalWatcher watcher(SignalWatcher::usualSignals(), onto(loop), [&](int signal) {
    EXPECT_TRUE(loop.isCurrent());
    handled.push_back(signal);
    if (signal == SIGTERM) loop.quit(0);
  });
  loop.post([] {
    for (const int signal : {SIGUSR1, SIGHUP, SIGINT, SIGTERM}) ::raise(signal);
  });
  loop.run();
  EXPECT_THAT(handled, ElementsAre(SIGUSR1, SIGHUP, SIGINT, SIGTERM));
}

TEST(SignalWatcher, handlesSignalsThatAnotherThreadReceives) {
  CoreLoop loop;
  const SignalWatcher watcher({SIGUSR1}, onto(loop), [&](int) { loop.quit(6); });
  std::thread sender([] { ::raise(SIGUSR1); });
  EXPECT_EQ(loop.run(), 6);
  sender.join();
}

TEST(SignalWatcher, handlesASignalAtOnceWhileTheLoopIsBusy) {
  CoreLoop loop;
  std::promise<int> heard;
  std::vector<int> handled;
  const SignalWatcher watcher(
      {SIGUSR1}, onto(loop),
      [&](int signal) {
        handled.push_back(signal);
        loop.quit(4);
      },
      [&](int signal) { heard.set_value(signal); });
  loop.post([&] {
    ::raise(SIGUSR1);
    EXPECT_EQ(heard.get_future().get(), SIGUSR1);
    EXPECT_THAT(handled, ElementsAre());
  });
  EXPECT_EQ(loop.run(), 4);
  EXPECT_THAT(handled, ElementsAre(SIGUSR1));
}

TEST(SignalWatcher, worksOnALoopThatRunsOnASecondThread) {
  CoreLoop loop;
  int code = 0;
  std::thread second([&] {
    const SignalWatcher watcher({SIGUSR1}, onto(loop), [&](int) { loop.quit(8); });
    ::raise(SIGUSR1);
    code = loop.run();
  });
  second.join();
  EXPECT_EQ(code, 8);
}

TEST(SignalWatcher, restoresThePreviousSignalHandling) {
  CoreLoop loop;
  static int handled = 0;
  ::signal(SIGUSR1, [](int) { ++handled; });
  {
    const SignalWatcher watcher({SIGUSR1}, onto(loop), [](int) { ADD_FAILURE(); });
  }
  ::raise(SIGUSR1);
  EXPECT_EQ(handled, 1);
  ::signal(SIGUSR1, SIG_DFL);
}

TEST(SignalWatcher, mayBeDestroyedByItsCall) {
  CoreLoop loop;
  std::unique_ptr<SignalWatcher> watcher;
  watcher = std::make_unique<SignalWatcher>(std::vector<int>{SIGUSR1}, onto(loop), [&](int) {
    watcher.reset();
    loop.quit(1);
  });
  ::raise(SIGUSR1);
  EXPECT_EQ(loop.run(), 1);
}

TEST(SignalWatcher, callsNothingAfterItsEnd) {
  CoreLoop loop;
  std::promise<void> heard;
  {
    const SignalWatcher watcher(
        {SIGUSR1}, onto(loop), [](int) { ADD_FAILURE() << "handled"; }, [&](int) { heard.set_value(); });
    ::raise(SIGUSR1);
    heard.get_future().wait();
  }
  loop.quit();
  EXPECT_EQ(loop.run(), 0);
}

TEST(SignalWatcher, survivesAnException) {
  const SystemLogCapture log;
  CoreLoop loop;
  const SignalWatcher watcher({SIGUSR1, SIGHUP}, onto(loop), [&](int signal) {
    if (signal == SIGUSR1) throw std::runtime_error("in a signal");
    loop.quit(2);
  });
  ::raise(SIGUSR1);
  ::raise(SIGHUP);
  EXPECT_EQ(loop.run(), 2);
  EXPECT_THAT(log.lines(), ElementsAre("uncaught exception: in a signal"));
}

}  // namespace
}  // namespace moxtel
