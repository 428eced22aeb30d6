#include "library/FolderAdvice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/files/Files.h"
#include "tests/OrdinaryUser.h"
#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

using testing::HasSubstr;
namespace fs = std::filesystem;

class FolderAdviceTest : public testing::Test {
 protected:
  FolderAdviceTest() { fs::permissions(disk.path(), fs::perms::all); }
  std::string library(const std::string& name) {
    const fs::path path = disk.path() / name;
    fs::create_directories(path / "Database/apdb");
    std::ofstream{path / "Database/apdb/Library.apdb"} << "x";
    return path.string();
  }
  static void close(const fs::path& folder) { fs::permissions(folder, fs::perms::owner_read); }

  TemporaryFolder disk;
};

TEST_F(FolderAdviceTest, namesTheCommandForEveryClosedFolder) {
  const std::string path = library("home/my pictures/iPhoto Library");
  const std::string home = (disk.path() / "home").string();
  close(home);
  {
    const OrdinaryUser user;
    EXPECT_EQ(commandThatPermits(path, "moxtelserver"), "setfacl -m u:moxtelserver:x " + home + " '" + home +
                                                            "/my pictures' && setfacl -R -m "
                                                            "u:moxtelserver:rX '" +
                                                            path + "'");
    EXPECT_THAT(adviceAboutFolder(path, {}), HasSubstr(": setfacl -m u:" + userName() + ":x " + home));
  }
  fs::permissions(home, fs::perms::all);
}

TEST_F(FolderAdviceTest, namesTheCommandForAClosedLibraryOrDatabase) {
  const std::string path = library("Library");
  for (const fs::path& closed : {fs::path(path), fs::path(path) / "Database/apdb/Library.apdb"}) {
    fs::permissions(closed, fs::perms::none);
    {
      const OrdinaryUser user;
      EXPECT_EQ(commandThatPermits(path, "x"), "setfacl -R -m u:x:rX " + path);
    }
    fs::permissions(closed, fs::perms::all);
    const OrdinaryUser user;
    EXPECT_EQ(commandThatPermits(path, "x"), "");
    EXPECT_EQ(adviceAboutFolder(path, {}), "");
  }
}

TEST_F(FolderAdviceTest, hasNoCommandForWhatIsNoLibrary) {
  const std::string path = library("Library");
  EXPECT_EQ(adviceAboutFolder(disk.path().string(), {}), "");
  EXPECT_EQ(adviceAboutFolder(path + "/Database/apdb/Library.apdb", {}), "");
  EXPECT_EQ(adviceAboutFolder((disk.path() / "none").string(), {}), "");
}

TEST_F(FolderAdviceTest, namesTheChapterAboutADiskThatIsNotMounted) {
  using Kind = MacPartition::Kind;
  const std::string missing = (disk.path() / "none").string();
  EXPECT_EQ(adviceAboutFolder(missing, {{"/dev/sdb2", Kind::Apfs}}),
            " /dev/sdb2 is a Mac's disk and is not mounted: see the chapter \"APFS\" of mac-disk.md (in "
            "/usr/share/doc/moxtelserver-headless).");
  EXPECT_THAT(adviceAboutFolder(missing, {{"/dev/sdb2", Kind::HfsPlus}}), HasSubstr("\"HFS+\""));
  EXPECT_THAT(adviceAboutFolder(missing, {{"/dev/sdb2", Kind::CoreStorage}}), HasSubstr("\"FileVault\""));
  EXPECT_EQ(adviceAboutFolder(library("Library"), {{"/dev/sdb2", Kind::Apfs}}), "");
}

TEST_F(FolderAdviceTest, namesTheChapterAboutTimeMachine) {
  fs::create_directory(disk.path() / "Linked");
  std::ofstream(disk.path() / "Linked/Masters").flush();
  EXPECT_THAT(adviceAboutFolder((disk.path() / "Linked").string(), {}), HasSubstr("\"Time Machine\""));
}

TEST_F(FolderAdviceTest, namesTheClosedFolderBelowADisk) {
  const std::string pictures = (disk.path() / "Users/anna/Pictures").string();
  fs::create_directories(pictures);
  if (::geteuid() != 0 || ::chown(pictures.c_str(), 501, 20) != 0) GTEST_SKIP() << "needs root";
  fs::permissions(pictures, fs::perms::owner_all);
  const OrdinaryUser user;
  EXPECT_EQ(adviceAboutFolder(disk.path().string(), {}),
            " This user is not permitted to read '" + pictures + "'." + adviceAboutFolder(pictures, {}));
  EXPECT_THAT(adviceAboutFolder(pictures, {}), HasSubstr("\"Owners\""));
}

TEST_F(FolderAdviceTest, namesTheChapterAboutAMacsOwner) {
  const std::string path = library("Mac");
  if (::geteuid() != 0 || ::chown(path.c_str(), 501, 501) != 0) GTEST_SKIP() << "needs root";
  fs::permissions(path, fs::perms::owner_all);
  const OrdinaryUser user;
  EXPECT_THAT(adviceAboutFolder(path, {}), HasSubstr("\"Owners\""));
}

}  // namespace
}  // namespace moxtel
