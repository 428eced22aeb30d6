#include "platform/SignalWatcher.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <future>
#include <stdexcept>
#include <thread>

#include "platform/CoreLoop.h"
#include "platform/SystemLog.h"

namespace moxtel {
namespace {

using testing::ElementsAre;

TEST(SignalWatcher, tellsEverySignalOnTheLoopsThread) {
  CoreLoop loop;
  std::vector<int> told;
  const SignalWatcher watcher(SignalWatcher::usualSignals(), [&](int signal) {
    EXPECT_TRUE(loop.isCurrent());
    told.push_back(signal);
    if (signal == SIGTERM) loop.quit(0);
  });
  loop.post([] {
    for (const int signal : {SIGUSR1, SIGHUP, SIGINT, SIGTERM}) ::raise(signal);
  });
  loop.run();
  EXPECT_THAT(told, ElementsAre(SIGUSR1, SIGHUP, SIGINT, SIGTERM));
}

TEST(SignalWatcher, takesSignalsThatAnotherThreadGets) {
  CoreLoop loop;
  const SignalWatcher watcher({SIGUSR1}, [&](int) { loop.quit(6); });
  std::thread sender([] { ::raise(SIGUSR1); });
  EXPECT_EQ(loop.run(), 6);
  sender.join();
}

TEST(SignalWatcher, tellsAtOnceWhileTheLoopIsBusy) {
  CoreLoop loop;
  std::promise<int> heard;
  std::vector<int> told;
  const SignalWatcher watcher(
      {SIGUSR1},
      [&](int signal) {
        told.push_back(signal);
        loop.quit(4);
      },
      [&](int signal) { heard.set_value(signal); });
  loop.post([&] {
    ::raise(SIGUSR1);
    EXPECT_EQ(heard.get_future().get(), SIGUSR1);
    EXPECT_THAT(told, ElementsAre());
  });
  EXPECT_EQ(loop.run(), 4);
  EXPECT_THAT(told, ElementsAre(SIGUSR1));
}

TEST(SignalWatcher, worksOnALoopThatRunsOnASecondThread) {
  CoreLoop loop;
  int code = 0;
  std::thread second([&] {
    const SignalWatcher watcher({SIGUSR1}, [&](int) { loop.quit(8); });
    ::raise(SIGUSR1);
    code = loop.run();
  });
  second.join();
  EXPECT_EQ(code, 8);
}

TEST(SignalWatcher, restoresWhatTheSignalsDidBefore) {
  CoreLoop loop;
  static int handled = 0;
  ::signal(SIGUSR1, [](int) { ++handled; });
  {
    const SignalWatcher watcher({SIGUSR1}, [](int) { ADD_FAILURE(); });
  }
  ::raise(SIGUSR1);
  EXPECT_EQ(handled, 1);
  ::signal(SIGUSR1, SIG_DFL);
}

TEST(SignalWatcher, mayBeDestroyedByItsCall) {
  CoreLoop loop;
  std::unique_ptr<SignalWatcher> watcher;
  watcher = std::make_unique<SignalWatcher>(std::vector<int>{SIGUSR1}, [&](int) {
    watcher.reset();
    loop.quit(1);
  });
  ::raise(SIGUSR1);
  EXPECT_EQ(loop.run(), 1);
}

TEST(SignalWatcher, survivesAnException) {
  const SystemLogCapture log;
  CoreLoop loop;
  const SignalWatcher watcher({SIGUSR1, SIGHUP}, [&](int signal) {
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
