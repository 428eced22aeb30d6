#include "platform/files/TargetFolder.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

namespace fs = std::filesystem;

class TargetFolderTest : public ::testing::Test {
 protected:
  TargetFolderTest() { fs::create_directory(root_); }
  OpenFile source(const std::string& text) {
    const fs::path path = temporary_.path() / "source";
    std::ofstream(path, std::ios::binary) << text;
    return openRegularFile(path.string());
  }
  std::string contents(const std::string& path) {
    std::ifstream in(root_ / path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  WriteProblem copy(const OpenFile& from, const std::string& path, const TargetFile::Part& each = {}) {
    TargetFile file(folder_);
    if (WriteProblem problem = file.copy(from, each, [] { return false; })) return problem;
    return file.publish(path, 1'000'000'000.0, entry_);
  }

  TemporaryFolder temporary_;
  const fs::path root_ = temporary_.path() / "target";
  TargetFolder folder_{(temporary_.path() / "target").string(), ".work", true};
  TargetEntry entry_;
};

TEST_F(TargetFolderTest, copiesAFileAndSetsItsTime) {
  EXPECT_FALSE(copy(source("picture"), "Events/2001/a.jpg"));
  EXPECT_EQ(contents("Events/2001/a.jpg"), "picture");
  EXPECT_EQ(entry_.size, 7u);
  EXPECT_EQ(entry_.modified, 1'000'000'000'000'000'000);
  EXPECT_EQ(folder_.look("Events/2001/a.jpg").modified, entry_.modified);
  EXPECT_EQ(folder_.look("Events").kind, TargetEntry::Kind::Folder);
  EXPECT_TRUE(fs::is_empty(root_ / ".work"));
}

TEST_F(TargetFolderTest, givesEachPartOfALargeFile) {
  const std::string text(3'000'000, 'x');
  std::string seen;
  EXPECT_FALSE(copy(source(text), "a", [&](auto bytes) {
    seen.append(bytes.begin(), bytes.end());
    return true;
  }));
  EXPECT_EQ(seen, text);
  EXPECT_EQ(contents("a"), text);
}

TEST_F(TargetFolderTest, leavesNothingWhenCanceled) {
  EXPECT_EQ(copy(source("picture"), "a", [](auto) { return false; }).kind, WriteProblem::Kind::Canceled);
  EXPECT_FALSE(fs::exists(root_ / "a"));
  EXPECT_TRUE(fs::is_empty(root_ / ".work"));
}

TEST_F(TargetFolderTest, replacesAFile) {
  EXPECT_FALSE(copy(source("old"), "a"));
  EXPECT_FALSE(copy(source("new"), "a"));
  EXPECT_EQ(contents("a"), "new");
}

TEST_F(TargetFolderTest, followsNoLinkOnTheWay) {
  const fs::path outside = temporary_.path() / "outside";
  fs::create_directory(outside);
  fs::create_directory_symlink(outside, root_ / "Events");
  EXPECT_EQ(copy(source("picture"), "Events/a.jpg").kind, WriteProblem::Kind::Target);
  EXPECT_EQ(folder_.look("Events/a.jpg").kind, TargetEntry::Kind::Missing);
  EXPECT_TRUE(fs::is_empty(outside));
}

TEST_F(TargetFolderTest, replacesALinkAndNotWhereItLeads) {
  const fs::path outside = temporary_.path() / "outside";
  std::ofstream(outside) << "mine";
  fs::create_symlink(outside, root_ / "a.jpg");
  EXPECT_EQ(folder_.look("a.jpg").kind, TargetEntry::Kind::Other);
  EXPECT_FALSE(copy(source("picture"), "a.jpg"));
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(root_ / "a.jpg")));
  std::ifstream in(outside);
  std::string text;
  in >> text;
  EXPECT_EQ(text, "mine");
}

TEST_F(TargetFolderTest, writesNoUnfinishedFileThroughALink) {
  const fs::path outside = temporary_.path() / "outside";
  std::ofstream(outside) << "mine";
  fs::create_directory(root_ / ".work");
  fs::create_symlink(outside, root_ / ".work/copy.part");
  EXPECT_FALSE(copy(source("picture"), "a.jpg"));
  EXPECT_EQ(fs::file_size(outside), 4u);
}

TEST_F(TargetFolderTest, leavesTheFolderByNoPath) {
  for (const char* path : {"../a", "x/../../a", "/a", "", "x/", ".", "..", "a//b"}) {
    EXPECT_TRUE(copy(source("picture"), path)) << path;
  }
  EXPECT_FALSE(fs::exists(temporary_.path() / "a"));
}

TEST_F(TargetFolderTest, namesAFileThatIsInTheWay) {
  EXPECT_FALSE(copy(source("picture"), "a"));
  const WriteProblem problem = copy(source("picture"), "a/b");
  EXPECT_EQ(problem.kind, WriteProblem::Kind::Target);
  EXPECT_EQ(problem.reason, "'a' in the target is a link or a file, not a folder");
}

TEST_F(TargetFolderTest, isLockedForOthers) {
  EXPECT_EQ(folder_.lock(), TargetFolder::Lock::Taken);
  TargetFolder other(root_.string(), ".work", false);
  EXPECT_EQ(other.lock(), TargetFolder::Lock::Busy);
}

TEST_F(TargetFolderTest, createsTheFoldersAboveItOnRequest) {
  EXPECT_FALSE(TargetFolder((root_ / "x/y").string(), ".work", false));
  EXPECT_FALSE(fs::exists(root_ / "x"));
  EXPECT_TRUE(TargetFolder((root_ / "x/y").string(), ".work", true));
  EXPECT_TRUE(TargetFolder((root_ / "x/z/").string(), ".work", true));
  std::ofstream(root_ / "file") << "a file";
  TargetFolder inFile((root_ / "file/y").string(), ".work", true);
  EXPECT_FALSE(inFile);
  EXPECT_EQ(inFile.problem(), "Not a directory");
}

TEST_F(TargetFolderTest, makesALinkOnceOnly) {
  EXPECT_FALSE(folder_.link("../a.jpg", "Albums/x.jpg"));
  EXPECT_EQ(fs::read_symlink(root_ / "Albums/x.jpg"), "../a.jpg");
  EXPECT_TRUE(folder_.link("../b.jpg", "Albums/x.jpg"));
}

TEST_F(TargetFolderTest, writesAText) {
  TargetFile file(folder_);
  EXPECT_FALSE(file.write("one "));
  EXPECT_FALSE(file.write("two"));
  EXPECT_FALSE(file.publish("list", std::nullopt, entry_));
  EXPECT_EQ(contents("list"), "one two");
  std::vector<std::string> names = folder_.names("");
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{".work", "list"}));
}

}  // namespace
}  // namespace moxtel
