#include "export/ExportState.h"

#include <filesystem>
#include <fstream>

#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

class ExportStateTest : public ::testing::Test {
 protected:
  TemporaryFolder folder_;
  const std::string path_ = (folder_.path() / "state.db").string();
};

StateFile doneFile(const std::string& path) {
  StateFile file;
  file.path = path;
  file.sourceSize = 10;
  file.sourceModified = -5;
  file.size = 11;
  file.modified = 6;
  file.sha256 = "abc";
  file.facts = "def";
  return file;
}

TEST_F(ExportStateTest, keepsWhatWasCommitted) {
  {
    ExportState state(path_);
    state.begin();
    state.plan({1, "u", FileRole::Original}, "Events/a.jpg", true);
    state.finish({1, "u", FileRole::Edited}, doneFile("Events/a_edited.jpg"));
    state.commit();
    state.begin();
    state.plan({1, "lost", FileRole::Original}, "b", false);
  }
  ExportState state(path_);
  const auto planned = state.find({1, "u", FileRole::Original});
  ASSERT_TRUE(planned);
  EXPECT_EQ(planned->path, "Events/a.jpg");
  EXPECT_TRUE(planned->wasThere);
  EXPECT_FALSE(planned->isDone);
  const auto done = state.find({1, "u", FileRole::Edited});
  ASSERT_TRUE(done && done->isDone);
  EXPECT_EQ(done->sourceModified, -5);
  EXPECT_EQ(done->size, 11u);
  EXPECT_EQ(done->facts, "def");
  EXPECT_FALSE(state.find({1, "lost", FileRole::Original}));
  EXPECT_FALSE(state.find({2, "u", FileRole::Original}));
}

TEST_F(ExportStateTest, claimsAPathOnceWithoutCaseAndNormalForm) {
  ExportState state({});
  EXPECT_TRUE(state.claim("Events/V\u00F6ls.JPG"));
  EXPECT_TRUE(state.isClaimed("events/vo\u0308ls.jpg"));
  EXPECT_FALSE(state.claim("events/vo\u0308ls.jpg"));
  EXPECT_FALSE(state.isClaimed("Events/Vols.JPG"));
}

TEST_F(ExportStateTest, findsALibraryByItsPhotosAndByItsPath) {
  ExportState state({});
  EXPECT_FALSE(state.hasLibraries());
  const auto added = state.addLibrary("first photo", "/disk/Library", "Library/");
  EXPECT_EQ(state.library("first photo")->id, added.id);
  EXPECT_EQ(state.libraryAt("/disk/Library")->folder, "Library/");
  EXPECT_FALSE(state.library("another"));
}

TEST_F(ExportStateTest, listsPicturesByPathAndEqualOnes) {
  ExportState state({});
  StateFile file = doneFile("b");
  state.finish({1, "u", FileRole::Original}, file);
  file.path = "a";
  state.finish({1, "v", FileRole::Original}, file);
  file.path = "a.xmp";
  state.finish({1, "v", FileRole::OriginalSidecar}, file);
  state.plan({1, "w", FileRole::Original}, "c", false);
  std::vector<std::string> pictures;
  state.forEachPicture([&](const StateFile& each) { pictures.push_back(each.path); });
  EXPECT_EQ(pictures, (std::vector<std::string>{"a", "b"}));
  std::vector<std::string> equal;
  state.forEachIdentical([&](std::string_view path, bool isFirst) {
    equal.push_back((isFirst ? "first " : "") + std::string(path));
  });
  EXPECT_EQ(equal, (std::vector<std::string>{"first a", "b"}));
}

TEST_F(ExportStateTest, rejectsAFileThatIsNoState) {
  std::ofstream(path_) << std::string(5000, 'x');
  EXPECT_THROW(ExportState{path_}, StateFailure);
}

TEST_F(ExportStateTest, followsNoLink) {
  std::ofstream(folder_.path() / "other") << "";
  std::filesystem::create_symlink(folder_.path() / "other", path_);
  EXPECT_THROW(ExportState{path_}, StateFailure);
}

}  // namespace
}  // namespace moxtel
