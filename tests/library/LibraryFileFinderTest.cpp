#include "library/LibraryFileFinder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>

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
    const auto path = finder_.find(library(), at(name));
    return path ? path->substr(library().size() + 1) : "nothing";
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
  std::ofstream(folder_.path() / "secret.jpg") << "x";
  EXPECT_EQ(finder_.find(library(), at("../secret.jpg")), std::nullopt);
  EXPECT_EQ(finder_.find(library(), at("Masters/../Masters/a.jpg")), std::nullopt);
  EXPECT_EQ(finder_.find(library(), (folder_.path() / "secret.jpg").string()), std::nullopt);
  EXPECT_EQ(finder_.find(library(), library() + "rary/a.jpg"), std::nullopt);
  EXPECT_EQ(finder_.find(library(), library()), std::nullopt);
  EXPECT_EQ(finder_.open(library(), at("../secret.jpg")).state, FileState::Missing);
}

TEST_F(LibraryFileFinderTest, allowsDotsInsideANameAndASlashAfterTheLibrary) {
  file("a/b..c.jpg");
  EXPECT_EQ(found("a/b..c.jpg"), "a/b..c.jpg");
  EXPECT_TRUE(finder_.find(library() + "/", at("a/b..c.jpg")));
}

TEST_F(LibraryFileFinderTest, followsTheUsersSymbolicLinks) {
  fs::create_directories(folder_.path() / "OtherDisk");
  std::ofstream(folder_.path() / "OtherDisk" / "IMG.JPG") << "x";
  fs::create_directories(library());
  fs::create_directory_symlink(folder_.path() / "OtherDisk", at("Masters"));
  EXPECT_EQ(found("Masters/IMG.JPG"), "Masters/IMG.JPG");
  EXPECT_EQ(found("Masters/img.jpg"), "Masters/IMG.JPG");
}

// Each step could follow either link: 2 to the power of 14 ways.
TEST_F(LibraryFileFinderTest, givesUpAMazeOfLinks) {
  file("here");
  fs::create_directory_symlink(".", at("a"));
  fs::create_directory_symlink(".", at("A"));
  std::string way;
  for (int i = 0; i < 14; ++i) way += "a/";
  EXPECT_EQ(found(way + "missing"), "nothing");
  EXPECT_LE(finder_.foldersRead(), 1'000U);
  EXPECT_EQ(found(way + "HERE"), way + "here");
}

TEST_F(LibraryFileFinderTest, readsAFolderOnceWhileItDoesNotChange) {
  file("a/ONE.jpg");
  file("a/TWO.jpg");
  age();
  EXPECT_EQ(found("a/one.jpg"), "a/ONE.jpg");
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
  const OpenFile open = finder_.open(library(), at("A/one.jpg"));
  EXPECT_EQ(open.state, FileState::Open);
  EXPECT_EQ(open.path, at("a/ONE.jpg"));
}

TEST(FoldedFileName, isTheSameForNamesThatDifferOnlyInCaseAndForm) {
  EXPECT_EQ(foldedFileName(kComposed), foldedFileName(kDecomposed));
  EXPECT_EQ(foldedFileName("IMG_1.JPG"), "img_1.jpg");
  EXPECT_NE(foldedFileName("Ete.jpg"), foldedFileName(kComposed));
  EXPECT_EQ(foldedFileName("\xFF"), "\xFF");
}

}  // namespace
}  // namespace moxtel
