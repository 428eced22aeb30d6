#include "platform/loop/WakeUp.h"

#include <gtest/gtest.h>
#include <poll.h>

namespace moxtel {
namespace {

bool isReadable(const WakeUp& wakeUp) {
  pollfd source{wakeUp.descriptor(), POLLIN, 0};
  return ::poll(&source, 1, 0) == 1;
}

TEST(WakeUp, isReadableFromTheFirstSignalUntilItIsCleared) {
  const WakeUp wakeUp;
  EXPECT_FALSE(isReadable(wakeUp));
  wakeUp.clear();
  wakeUp.signal();
  wakeUp.signal();
  EXPECT_TRUE(isReadable(wakeUp));
  EXPECT_TRUE(isReadable(wakeUp));
  wakeUp.clear();
  EXPECT_FALSE(isReadable(wakeUp));
}

}  // namespace
}  // namespace moxtel
