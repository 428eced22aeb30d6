#include "platform/files/FileCopy.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

namespace fs = std::filesystem;

class FileCopyTest : public testing::Test {
 protected:
  CopyResult copy() { return copyPrivately(openRegularFile(from), to, room); }
  static std::string contents(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  TemporaryFolder folder;
  const std::string from = folder.path() / "from";
  const std::string to = folder.path() / "to";
  std::uint64_t room = 1 << 20;
};

TEST_F(FileCopyTest, copiesTheBytesForThisUserAlone) {
  std::ofstream(from) << "some bytes";
  EXPECT_EQ(copy(), CopyResult::Done);
  EXPECT_EQ(contents(to), "some bytes");
  EXPECT_EQ(fs::status(to).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(FileCopyTest, keepsHoles) {
  constexpr std::uintmax_t kSize = std::uintmax_t{64} << 20;
  std::ofstream(from) << "begin";
  fs::resize_file(from, kSize / 2);
  std::ofstream(from, std::ios::app) << "middle";
  fs::resize_file(from, kSize);
  ASSERT_EQ(copy(), CopyResult::Done);
  EXPECT_EQ(contents(to), contents(from));
  struct stat status {};
  ASSERT_EQ(::stat(to.c_str(), &status), 0);
  EXPECT_LT(status.st_blocks * 512, 1 << 20);
}

TEST_F(FileCopyTest, copiesNoMoreThanThereIsRoomFor) {
  std::ofstream(from) << std::string(600'000, 'x');
  EXPECT_EQ(copy(), CopyResult::Done);
  EXPECT_LE(room, (1U << 20) - 600'000);
  fs::remove(to);
  EXPECT_EQ(copy(), CopyResult::TooLarge);
  EXPECT_EQ(fs::file_size(to), 0U);
}

TEST_F(FileCopyTest, overwritesNothing) {
  std::ofstream(from) << "new";
  std::ofstream(to) << "old";
  EXPECT_EQ(copy(), CopyResult::Failed);
  EXPECT_EQ(errno, EEXIST);
  EXPECT_EQ(contents(to), "old");
}

}  // namespace
}  // namespace moxtel
