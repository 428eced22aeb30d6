#include "dnssd/AvahiLoop.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

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

TEST(AvahiLoop, goesOnAfterAFailedPoll) {
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  AvahiLoop loop;
  std::thread thread([&loop] { loop.run(); });
  // Once before: UndefinedBehaviorSanitizer takes descriptors at its first look at a class.
  ASSERT_TRUE(loop.performAndWait([] {}));
  int ran = 0;
  // The poll that fails follows the task; often enough it does so before the limit is the old one again.
  for (int i = 0; i < 50; ++i) {
    loop.performAndWait([] { allowDescriptors(1); });
    std::this_thread::yield();
    allowDescriptors(before.rlim_cur);
    ran += loop.performAndWait([] {});
  }
  EXPECT_EQ(ran, 50);
  loop.quit();
  thread.join();
}

}  // namespace
}  // namespace moxtel
