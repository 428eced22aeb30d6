#include "dnssd/AvahiLoop.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <future>
#include <thread>

namespace moxtel {
namespace {

// A poll of more descriptors than a process may have fails.
void allowDescriptors(rlim_t count) {
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  limit.rlim_cur = count;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
}

void runOn(AvahiLoop& loop, const AvahiLoop::Task& task) {
  std::promise<void> done;
  loop.post([&] {
    task();
    done.set_value();
  });
  done.get_future().wait();
}

TEST(AvahiLoop, continuesAfterAFailedPoll) {
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  AvahiLoop loop;
  std::thread thread([&loop] { loop.run(); });
  // Once before the limit: UndefinedBehaviorSanitizer opens descriptors when it first checks a class.
  runOn(loop, [] {});
  int ran = 0;
  // The poll after the task fails, in most rounds, before the old limit is restored.
  for (int i = 0; i < 50; ++i) {
    runOn(loop, [] { allowDescriptors(1); });
    std::this_thread::yield();
    allowDescriptors(before.rlim_cur);
    runOn(loop, [&] { ++ran; });
  }
  EXPECT_EQ(ran, 50);
  runOn(loop, [&] { loop.quit(); });
  thread.join();
}

TEST(AvahiLoop, dropsTheTasksThatAreLeftAtItsEnd) {
  AvahiLoop loop;
  const auto task = std::make_shared<int>(0);
  loop.post([&] { loop.quit(); });
  loop.post([task] { ++*task; });
  loop.run();
  loop.post([task] { ++*task; });
  EXPECT_EQ(*task, 0);
  EXPECT_EQ(task.use_count(), 1);
}

}  // namespace
}  // namespace moxtel
