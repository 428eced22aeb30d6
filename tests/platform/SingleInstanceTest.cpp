#include "platform/process/SingleInstance.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <optional>

#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

// The folder of mkdtemp() is closed to others.
class SingleInstanceTest : public testing::Test {
 protected:
  SingleInstance started() { return SingleInstance("program", folder.path().string()); }
  TemporaryFolder folder;
};

TEST_F(SingleInstanceTest, letsASecondStartRaiseTheFirst) {
  const SingleInstance first = started();
  EXPECT_FALSE(first.isSecond());
  EXPECT_GE(first.descriptor(), 0);
  EXPECT_FALSE(first.takeStart());
  const SingleInstance second = started();
  EXPECT_TRUE(second.isSecond());
  EXPECT_LT(second.descriptor(), 0);
  EXPECT_TRUE(second.raiseFirst());
  EXPECT_TRUE(first.takeStart());
  EXPECT_FALSE(first.takeStart());
}

TEST_F(SingleInstanceTest, isTheFirstAgainAfterTheFirstHasEnded) {
  std::optional<SingleInstance> first(started());
  first.reset();
  // The socket of the one before is still there.
  EXPECT_FALSE(std::filesystem::is_empty(folder.path()));
  const SingleInstance next = started();
  EXPECT_FALSE(next.isSecond());
  EXPECT_TRUE(started().raiseFirst());
  EXPECT_TRUE(next.takeStart());
}

TEST_F(SingleInstanceTest, isAnotherOneUnderAnotherName) {
  const SingleInstance first = started();
  EXPECT_FALSE(SingleInstance("other", folder.path().string()).isSecond());
}

TEST_F(SingleInstanceTest, usesNoFolderThatOthersMayEnter) {
  ASSERT_EQ(::chmod(folder.path().c_str(), 0711), 0);
  const SingleInstance first = started();
  EXPECT_FALSE(started().isSecond());
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

}  // namespace
}  // namespace moxtel
