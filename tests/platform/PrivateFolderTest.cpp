#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <optional>

#include "platform/files/Files.h"
#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPrefix = "moxtel-thing-";

class PrivateFolderTest : public testing::Test {
 protected:
  // A folder as an ended process leaves it behind.
  fs::path left(const std::string& name, fs::perms permissions = fs::perms::owner_all) {
    const fs::path folder = parent.path() / name;
    fs::create_directories(folder / "in it");
    std::ofstream(folder / "in it/file") << "old";
    fs::permissions(folder, permissions);
    return folder;
  }
  void sweep() { sweepPrivateFolders(parent.path(), kPrefix); }

  TemporaryFolder parent;
};

TEST_F(PrivateFolderTest, isRemovedWithItsFiles) {
  std::optional<PrivateFolder> folder(std::in_place, parent.path(), kPrefix);
  ASSERT_TRUE(fs::is_directory(folder->path()));
  EXPECT_EQ(fs::status(folder->path()).permissions(), fs::perms::owner_all);
  std::ofstream(folder->path() + "/file") << "x";
  folder.reset();
  EXPECT_TRUE(fs::is_empty(parent.path()));
}

TEST_F(PrivateFolderTest, isSweptWhenItsProcessHasEnded) {
  left("moxtel-thing-aBc123");
  sweep();
  EXPECT_TRUE(fs::is_empty(parent.path()));
}

TEST_F(PrivateFolderTest, isNotSweptWhileItIsUsed) {
  const PrivateFolder folder(parent.path(), kPrefix);
  sweep();
  EXPECT_TRUE(fs::is_directory(folder.path()));
}

TEST_F(PrivateFolderTest, othersFoldersAreNotSwept) {
  left("moxtel-thing-a");
  left("moxtel-thing-abcdefg");
  left("moxtel-other-abcdef");
  left("moxtel-thing-shared", fs::perms::owner_all | fs::perms::others_read);
  const fs::path target = left("target");
  fs::create_symlink(target, parent.path() / "moxtel-thing-linked");
  std::ofstream(parent.path() / "moxtel-thing-afile1") << "x";
  if (const fs::path foreign = left("moxtel-thing-owner1"); ::chown(foreign.c_str(), 12345, 12345) != 0)
    fs::remove_all(foreign);
  const auto count = [&] { return std::distance(fs::directory_iterator(parent.path()), {}); };
  const auto before = count();
  sweep();
  EXPECT_EQ(count(), before);
  EXPECT_TRUE(fs::exists(target / "in it/file"));
}

TEST_F(PrivateFolderTest, hasNoPathWhereItCannotBeMade) {
  EXPECT_EQ(PrivateFolder(parent.path() / "missing", kPrefix).path(), "");
  sweepPrivateFolders(parent.path() / "missing", kPrefix);
}

}  // namespace
}  // namespace moxtel
