#include "library/LibrarySearch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/OrdinaryUser.h"
#include "tests/fakes/FakeEventLoop.h"
#include "tests/library/LocalTimeZone.h"
#include "tests/library/ServedLibrary.h"

namespace moxtel::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

class LibrarySearchTest : public testing::Test {
 protected:
  // Only the file that makes it one.
  std::string library(const std::string& name) {
    const fs::path path = disk.path() / name;
    fs::create_directories(path / "Database/apdb");
    fs::create_directories(path / "Masters/2010");
    std::ofstream{path / "Database/apdb/Library.apdb"} << "x";
    return path.string();
  }
  std::string at(const std::string& name) const { return (disk.path() / name).string(); }

  TemporaryFolder disk;
};

TEST_F(LibrarySearchTest, findsTheLibraryAroundAFolder) {
  const std::string family = library("Pictures/Family");
  library("Pictures/Other");
  for (const char* inside : {"", "/", "//", "/Database", "/Database/", "/Database/apdb", "/Masters/2010",
                             "/Masters/../Database/.", "/Masters/missing", "/Database/apdb/Library.apdb"}) {
    EXPECT_THAT(librariesFor(family + inside), ElementsAre(family)) << inside;
  }
}

TEST_F(LibrarySearchTest, findsTheLibrariesBelowAFolder) {
  const std::string family = library("Pictures/Family");
  const std::string old = library("Backup/2011/Pictures/Old");
  EXPECT_THAT(librariesFor(disk.path().string()), ElementsAre(old, family));
  EXPECT_THAT(librariesFor(at("Pictures/")), ElementsAre(family));
  EXPECT_THAT(librariesFor(at("Backup")), ElementsAre(old));
}

TEST_F(LibrarySearchTest, findsByARelativePathAndATilde) {
  const std::string family = library("Family");
  EXPECT_THAT(librariesFor(fs::relative(family).string()), ElementsAre(family));
  const std::string home = ::getenv("HOME");
  ::setenv("HOME", disk.path().c_str(), 1);
  EXPECT_THAT(librariesFor("~/Family/Masters"), ElementsAre(family));
  ::setenv("HOME", home.c_str(), 1);
}

TEST_F(LibrarySearchTest, findsNothingWhereThereIsNothing) {
  fs::create_directories(at("Pictures/Holidays"));
  EXPECT_THAT(librariesFor(at("Pictures")), IsEmpty());
  EXPECT_THAT(librariesFor(at("Missing")), IsEmpty());
  EXPECT_THAT(librariesFor(""), IsEmpty());
}

TEST_F(LibrarySearchTest, entersNeitherHiddenFoldersNorLinks) {
  library(".Trashes/501/Deleted");
  const std::string family = library("Elsewhere/Family");
  fs::create_directories(at("Pictures"));
  fs::create_directory_symlink(at("Elsewhere"), at("Pictures/link"));
  fs::create_directory_symlink(disk.path(), at("Pictures/circle"));
  EXPECT_THAT(librariesFor(at("Pictures")), IsEmpty());
  fs::create_directory_symlink(family, at("Pictures/Linked Family"));
  EXPECT_THAT(librariesFor(at("Pictures")), ElementsAre(at("Pictures/Linked Family")));
  EXPECT_THAT(librariesFor(disk.path().string()), ElementsAre(family, at("Pictures/Linked Family")));
}

TEST_F(LibrarySearchTest, keepsToItsLimits) {
  library("a/b/c/Deep");
  for (int i = 0; i < 9; ++i) library("Library" + std::to_string(i));
  const std::string all = disk.path().string();
  EXPECT_EQ(librariesFor(all).size(), 10U);
  EXPECT_EQ(librariesFor(all, {.libraries = 3}).size(), 3U);
  EXPECT_EQ(librariesFor(all, {.depth = 3}).size(), 9U);
  EXPECT_LE(librariesFor(all, {.entries = 4}).size(), 4U);
  EXPECT_THAT(librariesFor(all, {.seconds = 0}), IsEmpty());
}

TEST_F(LibrarySearchTest, takesNoClosedFolderForALibrary) {
  fs::create_directory(at("Closed"));
  fs::permissions(at("Closed"), fs::perms::none);
  fs::permissions(disk.path(), fs::perms::all);
  const OrdinaryUser user;
  EXPECT_THAT(librariesFor(disk.path().string()), IsEmpty());
}

// Such as a Mac's disk has them.
TEST_F(LibrarySearchTest, namesAFolderOfAnotherUserThatMayHaveTheLibrary) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root";
  fs::permissions(disk.path(), fs::perms::all);
  for (const char* closed : {"Users/anna/Documents", "Users/anna/Pictures", "lost+found"}) {
    fs::create_directories(at(closed));
    fs::permissions(at(closed), fs::perms::none);
    ASSERT_EQ(::chown(at(closed).c_str(), closed == std::string("lost+found") ? 0 : 501, 20), 0);
  }
  {
    const OrdinaryUser user;
    EXPECT_EQ(searchForLibraries(disk.path().string()).closed, at("Users/anna/Pictures"));
    EXPECT_EQ(searchForLibraries(at("Users/anna/Documents")).closed, "");
  }
  fs::permissions(at("Users/anna/Pictures"), fs::perms::all);
  const OrdinaryUser user;
  EXPECT_EQ(searchForLibraries(disk.path().string()).closed, "");
}

TEST_F(LibrarySearchTest, describesLibrariesWithoutChangingThem) {
  const LocalTimeZone utc("UTC");
  TestLibrary files;
  for (const int date : {490007103, 397000000}) {
    files.insert("RKFolder",
                 Dictionary{{"uuid", "p"}, {"folderType", 2}, {"isInTrash", 0}, {"maxImageDate", date}});
    files.insert("RKVersion", Dictionary{{"showInLibrary", 1}, {"isInTrash", 0}, {"versionNumber", 1}});
  }
  const std::string broken = library("Broken");
  const auto before = stateOf(files.path());
  FakeEventLoop loop;
  const auto found = describedLibraries(loop, {files.path(), broken});
  EXPECT_THAT(found,
              ElementsAre(FoundLibrary{files.path(), 2, Date{490007103}}, FoundLibrary{broken, {}, {}}));
  EXPECT_EQ(stateOf(files.path()), before);
  EXPECT_EQ(describe(found[0]), "'" + files.path() + "' (2 photos, newest 2016-07-12)");
  EXPECT_EQ(describe(found[1]), "'" + broken + "'");
  EXPECT_EQ(describe(FoundLibrary{"/x", {}, Date{490007103}}), "'/x' (newest 2016-07-12)");
}

// A library that its application has open is not copied just to be listed.
TEST_F(LibrarySearchTest, makesNoPrivateCopies) {
  TestLibrary files;
  files.execute(DatabaseFile::Library, "PRAGMA journal_mode=WAL");
  const auto before = stateOf(files.path());
  FakeEventLoop loop;
  EXPECT_THAT(describedLibraries(loop, {files.path()}), ElementsAre(FoundLibrary{files.path(), {}, {}}));
  EXPECT_EQ(stateOf(files.path()), before);
}

}  // namespace
}  // namespace moxtel::test
