#include "library/LibraryFileFinder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/OrdinaryUser.h"
#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

namespace fs = std::filesystem;

constexpr const char* kComposed = "\xC3\x89t\xC3\xA9.JPG";      // É and é as one code point each
constexpr const char* kDecomposed = "E\xCC\x81te\xCC\x81.JPG";  // letter and combining accent

class LibraryFileFinderTest : public testing::Test {
 protected:
  void file(const std::string& name) {
    const fs::path path = at(name);
    fs::create_directories(path.parent_path());
    std::ofstream(path) << name;
  }
  std::string at(const std::string& name) const { return library() + "/" + name; }
  std::string library() const { return (folder_.path() / "Lib").string(); }
  // The name below the library's folder, or "nothing".
  std::string found(const std::string& name) {
    const FoundFile found = finder_.find(library(), at(name));
    return found.file.state == FileState::Open ? found.file.path.substr(library().size() + 1) : "nothing";
  }
  FileState stateOf(const std::string& path) { return finder_.open(library(), path).file.state; }
  std::string outside(const std::string& name) const { return (folder_.path() / name).string(); }
  // A file outside the library.
  void fileOutside(const std::string& name) {
    fs::create_directories((folder_.path() / name).parent_path());
    std::ofstream(folder_.path() / name) << name;
  }
  void link(const std::string& name, const std::string& target) {
    fs::create_directories(fs::path(at(name)).parent_path());
    fs::create_symlink(target, at(name));
  }
  // Folders changed this second are not remembered; these were changed long ago.
  void age() {
    const auto old = fs::file_time_type::clock::now() - std::chrono::hours(1);
    for (const auto& entry : fs::recursive_directory_iterator(library()))
      if (entry.is_directory()) fs::last_write_time(entry.path(), old);
    fs::last_write_time(library(), old);
  }

  TemporaryFolder folder_;
  LibraryFileFinder finder_;
};

TEST_F(LibraryFileFinderTest, takesAnExactPathWithoutReadingAFolder) {
  file("Masters/2012/IMG_1.JPG");
  EXPECT_EQ(found("Masters/2012/IMG_1.JPG"), "Masters/2012/IMG_1.JPG");
  EXPECT_EQ(finder_.foldersRead(), 0U);
}

TEST_F(LibraryFileFinderTest, ignoresLetterCaseInEveryComponent) {
  file("masters/Summer/IMG_1.JPG");
  EXPECT_EQ(found("Masters/SUMMER/img_1.jpg"), "masters/Summer/IMG_1.JPG");
}

TEST_F(LibraryFileFinderTest, ignoresNormalFormInBothDirections) {
  file(std::string("a/") + kDecomposed);
  file(std::string("b/") + kComposed);
  EXPECT_EQ(found(std::string("a/") + kComposed), std::string("a/") + kDecomposed);
  EXPECT_EQ(found(std::string("b/") + kDecomposed), std::string("b/") + kComposed);
}

TEST_F(LibraryFileFinderTest, ignoresCaseAndNormalFormTogether) {
  file(std::string("a/") + kDecomposed);
  EXPECT_EQ(found("A/\xC3\xA9T\xC3\x89.jpg"), std::string("a/") + kDecomposed);
}

TEST_F(LibraryFileFinderTest, prefersTheNameThatAgreesExactly) {
  file("a/IMG_1.JPG");
  file("a/img_1.jpg");
  EXPECT_EQ(found("A/img_1.jpg"), "a/img_1.jpg");
  EXPECT_EQ(found("A/IMG_1.JPG"), "a/IMG_1.JPG");
  EXPECT_EQ(found("A/Img_1.Jpg"), "a/IMG_1.JPG") << "else the first in byte order";
}

TEST_F(LibraryFileFinderTest, triesEveryFolderThatAgrees) {
  file("SUMMER/one.jpg");
  file("Summer/two.jpg");
  EXPECT_EQ(found("Summer/ONE.jpg"), "SUMMER/one.jpg");
}

TEST_F(LibraryFileFinderTest, doesNotFindWhatIsNotThere) {
  file("a/b.jpg");
  EXPECT_EQ(found("a/c.jpg"), "nothing");
  EXPECT_EQ(found("x/b.jpg"), "nothing");
  EXPECT_EQ(found("a/b.jpg/c"), "nothing");
}

TEST_F(LibraryFileFinderTest, keepsNamesThatAreNoUtf8Apart) {
  file("a/\xFF.jpg");
  EXPECT_EQ(found("A/\xFF.jpg"), "a/\xFF.jpg");
  EXPECT_EQ(found("A/\xFE.jpg"), "nothing");
}

TEST_F(LibraryFileFinderTest, doesNotLeaveTheLibrary) {
  file("Masters/a.jpg");
  fileOutside("secret.jpg");
  EXPECT_EQ(stateOf(at("../secret.jpg")), FileState::Missing);
  EXPECT_EQ(stateOf(at("Masters/../../secret.jpg")), FileState::Missing);
  EXPECT_EQ(stateOf(outside("secret.jpg")), FileState::Missing);
  EXPECT_EQ(stateOf(library() + "rary/a.jpg"), FileState::Missing);
  EXPECT_EQ(stateOf(library()), FileState::Missing);
  EXPECT_EQ(stateOf(at(std::string("Masters/a.jpg\0", 14))), FileState::Missing);
}

TEST_F(LibraryFileFinderTest, followsTheFolderAboveInsideTheFirstFolder) {
  file("Masters/2012/a.jpg");
  file("Masters/b.jpg");
  file("Previews/c.jpg");
  file("top.jpg");
  EXPECT_EQ(found("Masters/2012/../b.jpg"), "Masters/b.jpg");
  EXPECT_EQ(found("Masters//2012/./../2012//a.jpg"), "Masters/2012/a.jpg");
  EXPECT_EQ(found("Masters/../Masters/b.jpg"), "Masters/b.jpg");
  EXPECT_EQ(found("Masters/../Previews/c.jpg"), "nothing");
  EXPECT_EQ(found("Masters/2012/../../Previews/c.jpg"), "nothing");
  EXPECT_EQ(found("Masters/../top.jpg"), "nothing");
  EXPECT_EQ(found("Masters/none/../b.jpg"), "nothing") << "as the system does";
  EXPECT_EQ(found("Masters/.."), "nothing");
}

TEST_F(LibraryFileFinderTest, allowsDotsInsideANameAndASlashAfterTheLibrary) {
  file("a/b..c.jpg");
  EXPECT_EQ(found("a/b..c.jpg"), "a/b..c.jpg");
  EXPECT_EQ(finder_.open(library() + "/", at("a/b..c.jpg")).file.state, FileState::Open);
}

// ---- links ----

TEST_F(LibraryFileFinderTest, followsLinksInsideTheLibrary) {
  file("Masters/2012/a.jpg");
  file("Previews/b.jpg");
  link("Masters/relative", "2012");
  link("Masters/absolute", at("Masters/2012"));
  link("Masters/other.jpg", "../Previews/b.jpg");
  link("Masters/roundabout", "../../Lib/Masters/2012");
  link("Masters/chain", "relative");
  EXPECT_EQ(found("Masters/relative/a.jpg"), "Masters/2012/a.jpg");
  EXPECT_EQ(found("Masters/absolute/a.jpg"), "Masters/2012/a.jpg");
  EXPECT_EQ(found("Masters/chain/A.JPG"), "Masters/2012/a.jpg");
  EXPECT_EQ(found("Masters/other.jpg"), "Previews/b.jpg");
  EXPECT_EQ(found("masters/ROUNDABOUT/a.jpg").substr(0, 3), "../") << "reached from above";
  EXPECT_EQ(stateOf(at("Masters/roundabout/a.jpg")), FileState::Open);
}

TEST_F(LibraryFileFinderTest, reachesTheLibraryByLinks) {
  file("Masters/a.jpg");
  link("Masters/absolute.jpg", at("Masters/a.jpg"));
  fs::create_directory_symlink("Lib", outside("Link"));
  link("Masters/byLink.jpg", outside("Link/Masters/a.jpg"));
  for (const char* name : {"/Masters/a.jpg", "/Masters/absolute.jpg", "/Masters/byLink.jpg"}) {
    EXPECT_EQ(finder_.open(outside("Link"), outside("Link") + name).file.state, FileState::Open) << name;
    EXPECT_EQ(stateOf(library() + name), FileState::Open) << name;
  }
}

TEST_F(LibraryFileFinderTest, doesNotFollowLinksOutOfTheLibrary) {
  fileOutside("Secrets/secret.jpg");
  file("Masters/a.jpg");
  link("Masters/absolute.jpg", outside("Secrets/secret.jpg"));
  link("Masters/relative.jpg", "../../Secrets/secret.jpg");
  link("Masters/folder", outside("Secrets"));
  link("Masters/far", "../../../../../../../../../../../../..");
  link("Previews", outside("Secrets"));
  for (const char* name : {"Masters/absolute.jpg", "Masters/relative.jpg", "Masters/folder/secret.jpg",
                           "Masters/FOLDER/secret.jpg", "Previews/secret.jpg"}) {
    const FoundFile found = finder_.open(library(), at(name));
    EXPECT_EQ(found.file.state, FileState::Missing) << name;
    EXPECT_FALSE(found.file.descriptor) << name;
    ASSERT_TRUE(found.linkOut) << name;
    EXPECT_TRUE(fs::equivalent(found.linkOut->folder, outside("Secrets"))) << found.linkOut->folder;
  }
  EXPECT_EQ(finder_.open(library(), at("Previews/secret.jpg")).linkOut->link, at("Previews"));
  EXPECT_EQ(stateOf(at("Masters/far/etc/passwd")), FileState::Missing);
  EXPECT_FALSE(finder_.open(library(), at("Masters/folder/none.jpg")).linkOut.value().folder.empty())
      << "the result does not depend on whether a file exists outside";
}

TEST_F(LibraryFileFinderTest, followsLinksIntoFoldersThatTheUserNamed) {
  fileOutside("Disk/Masters/2012/a.jpg");
  fileOutside("Secrets/secret.jpg");
  fs::create_directories(library());
  link("Masters", outside("Disk/Masters"));
  fs::create_symlink(outside("Secrets/secret.jpg"), outside("Disk/Masters/secret.jpg"));
  fs::create_symlink("2012/a.jpg", outside("Disk/Masters/b.jpg"));
  EXPECT_EQ(stateOf(at("Masters/2012/a.jpg")), FileState::Missing);
  fs::create_directory_symlink("Disk", outside("LinkToDisk"));
  for (const std::string& named : {outside("Disk/Masters"), outside("Disk"), outside("LinkToDisk")}) {
    finder_ = LibraryFileFinder(ReferencedFolders("/none:Volume=" + named));
    EXPECT_EQ(stateOf(at("Masters/2012/a.jpg")), FileState::Open) << named;
    EXPECT_EQ(stateOf(at("Masters/2012/A.JPG")), FileState::Open) << "in any case";
    EXPECT_EQ(stateOf(at("Masters/b.jpg")), FileState::Open) << "a link inside it";
    EXPECT_EQ(stateOf(at("Masters/secret.jpg")), FileState::Missing) << "a link out of it";
  }
  finder_ = LibraryFileFinder(ReferencedFolders(outside("Disk/Masters/2012")));
  EXPECT_EQ(stateOf(at("Masters/2012/a.jpg")), FileState::Missing) << "the target is not named";
}

TEST_F(LibraryFileFinderTest, endsLinksThatGoInCircles) {
  link("Masters/loop.jpg", "loop.jpg");
  link("Masters/one", "two/x");
  link("Masters/two", "one/x");
  EXPECT_EQ(stateOf(at("Masters/loop.jpg")), FileState::Unreadable);
  EXPECT_NE(stateOf(at("Masters/one/a.jpg")), FileState::Open);
}

// Each ".." would need another descriptor.
TEST_F(LibraryFileFinderTest, endsLongWays) {
  file("Masters/a/b.jpg");
  std::string way = "Masters/";
  for (int i = 0; i < 600; ++i) way += "a/../";
  EXPECT_EQ(stateOf(at(way + "a/b.jpg")), FileState::Missing);
  EXPECT_EQ(found("Masters/a/../a/../a/b.jpg"), "Masters/a/b.jpg");
}

TEST_F(LibraryFileFinderTest, opensRegularFilesOnly) {
  fs::create_directories(at("Masters/folder.jpg"));
  ASSERT_EQ(::mkfifo(at("Masters/pipe.jpg").c_str(), 0600), 0);
  EXPECT_EQ(stateOf(at("Masters/folder.jpg")), FileState::Unreadable);
  EXPECT_EQ(stateOf(at("Masters/pipe.jpg")), FileState::Unreadable);
}

// What is opened is what was checked, even if a name becomes a link between the two.
TEST_F(LibraryFileFinderTest, servesNothingFromOutsideWhileNamesAreExchanged) {
  file("Masters/in/a.jpg");
  fileOutside("out/a.jpg");
  link("Masters/link", outside("out"));
  std::atomic<bool> ends = false;
  std::thread exchanger([&] {
    while (!ends)
      ::renameat2(AT_FDCWD, at("Masters/in").c_str(), AT_FDCWD, at("Masters/link").c_str(), RENAME_EXCHANGE);
  });
  int opened = 0;
  for (int i = 0; i < 20'000; ++i) {
    const FoundFile found = finder_.open(library(), at("Masters/in/a.jpg"));
    if (found.file.state != FileState::Open) continue;
    ++opened;
    const Bytes bytes = readStart(found.file, 100);
    ASSERT_EQ(std::string(bytes.begin(), bytes.end()), "Masters/in/a.jpg");
  }
  ends = true;
  exchanger.join();
  EXPECT_GT(opened, 0);
}

// ---- folders that the user named ----

TEST_F(LibraryFileFinderTest, opensFilesBelowANamedFolder) {
  fileOutside("Disk/Users/Ann/IMG_1.JPG");
  fileOutside("secret.jpg");
  const auto state = [&](std::string_view path) {
    return finder_.openBelow(outside("Disk"), path).file.state;
  };
  EXPECT_EQ(state("Users/ann/img_1.jpg"), FileState::Open);
  EXPECT_EQ(state("/Users/Ann/IMG_1.JPG"), FileState::Open);
  EXPECT_EQ(state("../secret.jpg"), FileState::Missing);
  EXPECT_EQ(state("Users/../../secret.jpg"), FileState::Missing);
  EXPECT_EQ(state(""), FileState::Missing);
  fs::create_symlink("../secret.jpg", outside("Disk/link.jpg"));
  EXPECT_EQ(state("link.jpg"), FileState::Missing);
  EXPECT_EQ(finder_.openBelow(outside("none"), "a.jpg").file.state, FileState::Missing);
}

// ---- what cannot be read ----

TEST_F(LibraryFileFinderTest, namesTheFolderThatMayNotBeRead) {
  file("Masters/closed/2012/a.jpg");
  file("Masters/a.jpg");
  fs::permissions(folder_.path(), fs::perms::owner_all | fs::perms::group_exec | fs::perms::others_exec);
  fs::permissions(at("Masters/closed"), fs::perms::none);
  fs::permissions(at("Masters/a.jpg"), fs::perms::none);
  FoundFile below, closed;
  {
    const OrdinaryUser user;
    below = finder_.open(library(), at("Masters/closed/2012/a.jpg"));
    closed = finder_.open(library(), at("Masters/a.jpg"));
  }
  fs::permissions(at("Masters/closed"), fs::perms::owner_all);
  EXPECT_EQ(below.file.state, FileState::Unreadable);
  EXPECT_EQ(below.refused, at("Masters/closed"));
  EXPECT_EQ(closed.file.state, FileState::Unreadable);
  EXPECT_EQ(closed.refused, at("Masters/a.jpg"));
}

// ---- names from other file systems ----

TEST_F(LibraryFileFinderTest, findsNamesWithReplacedCharacters) {
  file("a/What\xEF\x80\xBF \xEF\x80\xA2x\xEF\x80\xA2.jpg");  // U+F03F, U+F022: the code plus U+F000
  file(
      "a/Who\xEF\x80\xA5 12\xEF\x80\xA2"
      "30.jpg");                       // U+F025, U+F022: numbered
  file("a/Summer\xEF\x80\xA8/b.jpg");  // U+F028: a blank at the end
  file(
      "a/a\xEF\x80\xBA"
      "b.jpg");  // U+F03A
  EXPECT_NE(found("a/What? \"x\".JPG"), "nothing");
  EXPECT_NE(found("a/who? 12:30.jpg"), "nothing");
  EXPECT_NE(found("a/summer /B.jpg"), "nothing");
  EXPECT_NE(found("a/a:b.jpg"), "nothing");
  EXPECT_NE(found("a/a/b.jpg"), "nothing") << "a slash in the name that the Mac shows";
  EXPECT_EQ(found("a/Who! 12:30.jpg"), "nothing");
}

TEST_F(LibraryFileFinderTest, findsAColonForASlash) {
  file("a/12:31/b:c.jpg");
  EXPECT_EQ(found("a/12/31/B/c.jpg"), "a/12:31/b:c.jpg");
  file("a/12/31/B/c.jpg");
  EXPECT_EQ(found("a/12/31/B/c.jpg"), "a/12/31/B/c.jpg") << "the exact name comes first";
}

// ---- speed ----

// Each step could follow either link: 2 to the power of 14 ways.
TEST_F(LibraryFileFinderTest, givesUpAMazeOfLinks) {
  file("here");
  fs::create_directory_symlink(".", at("a"));
  fs::create_directory_symlink(".", at("A"));
  std::string way;
  for (int i = 0; i < 14; ++i) way += "a/";
  EXPECT_EQ(found(way + "missing"), "nothing");
  EXPECT_LE(finder_.foldersRead(), 1'000U);
  EXPECT_EQ(found(way + "HERE"), "here");
}

TEST_F(LibraryFileFinderTest, readsAFolderOnceWhileItDoesNotChange) {
  file("a/ONE.jpg");
  file("a/TWO.jpg");
  age();
  EXPECT_EQ(found("a/one.jpg"), "a/ONE.jpg");
  EXPECT_EQ(found("a/none.jpg"), "nothing");
  const std::size_t read = finder_.foldersRead();
  EXPECT_EQ(found("a/two.jpg"), "a/TWO.jpg");
  EXPECT_EQ(found("a/three.jpg"), "nothing");
  EXPECT_EQ(finder_.foldersRead(), read);
}

TEST_F(LibraryFileFinderTest, seesFilesThatCameLater) {
  file("a/ONE.jpg");
  age();
  EXPECT_EQ(found("a/two.jpg"), "nothing");
  file("a/TWO.jpg");
  EXPECT_EQ(found("a/two.jpg"), "a/TWO.jpg");
  file("a/THREE.jpg");  // within the same tick of the folder's time, or not
  EXPECT_EQ(found("a/three.jpg"), "a/THREE.jpg");
  fs::remove(at("a/TWO.jpg"));
  EXPECT_EQ(found("a/two.jpg"), "nothing");
}

TEST_F(LibraryFileFinderTest, opensTheFileItFinds) {
  file("a/ONE.jpg");
  const FoundFile open = finder_.open(library(), at("A/one.jpg"));
  EXPECT_EQ(open.file.state, FileState::Open);
  EXPECT_EQ(open.file.path, at("a/ONE.jpg"));
  EXPECT_TRUE(open.file.descriptor);
  EXPECT_EQ(open.file.size, 9U);
  const FoundFile seen = finder_.find(library(), at("A/one.jpg"));
  EXPECT_EQ(seen.file.path, at("a/ONE.jpg"));
  EXPECT_FALSE(seen.file.descriptor);
}

}  // namespace
}  // namespace moxtel
