#include "library/answers/SavedLists.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/library/answers/AnswersFixture.h"

namespace moxtel::test {
namespace {

using testing::ElementsAre;

// Three photos, two of them in the event "p" and in the album "a".
class SavedListsTest : public AnswersTest {
 protected:
  SavedListsTest() {
    folder("p", "1/2/", 2);
    one = photo("one", Dictionary{{"projectUuid", "p"}});
    two = photo("two", Dictionary{{"projectUuid", "p"}});
    three = photo("three", Dictionary{{"projectUuid", "q"}});
    const std::int64_t id = album("a");
    member(id, one);
    member(id, three);
  }
  bool isInStep() {
    savedLists().refresh();
    return savedLists().isInStep();
  }

  std::int64_t one, two, three;
};

TEST_F(SavedListsTest, areInStepWithTheDatabases) {
  saveLists({{"allPhotosAlbum", {three, one, two}}, {"a", {three, one}}, {"smart", {two}}},
            {{"p", {two, one}}});
  EXPECT_TRUE(isInStep());
  ASSERT_TRUE(savedLists().listOf("smart"));
  EXPECT_THAT(savedLists().listOf("smart")->photos, ElementsAre(two));
  EXPECT_FALSE(savedLists().listOf("other"));
  EXPECT_STREQ(savedLists().fileName(), "AlbumData.xml");
}

TEST_F(SavedListsTest, areNotInStepWithoutTheListOfAllPhotos) {
  saveLists({{"a", {three, one}}});
  EXPECT_FALSE(isInStep());
}

TEST_F(SavedListsTest, noticeAMissingPhoto) {
  saveLists({{"allPhotosAlbum", {one, two}}});
  EXPECT_FALSE(isInStep());
}

TEST_F(SavedListsTest, noticeAChangedAlbum) {
  saveLists({{"allPhotosAlbum", {one, two, three}}, {"a", {one, two}}});
  EXPECT_FALSE(isInStep());
}

TEST_F(SavedListsTest, noticeAChangedEvent) {
  saveLists({{"allPhotosAlbum", {one, two, three}}}, {{"p", {one, two, three}}});
  EXPECT_FALSE(isInStep());
}

TEST_F(SavedListsTest, noticeAPhotoThatIsMovedToTheTrash) {
  saveLists({{"allPhotosAlbum", {one, two, three}}, {"a", {one, three}}}, {{"p", {one, two}}});
  EXPECT_TRUE(isInStep());
  opened->nextCommand();
  files.execute(DatabaseFile::Library, "UPDATE RKVersion SET isInTrash = 1 WHERE uuid = 'two'");
  EXPECT_FALSE(isInStep());
}

TEST_F(SavedListsTest, leaveOutPhotosOfFoldersInTheTrash) {
  folder("trashed", "1/", 1, Dictionary{{"isInTrash", 1}});
  saveLists({{"allPhotosAlbum", {three}}, {"a", {three}}}, {{"p", {}}});
  EXPECT_TRUE(isInStep()) << "the event p is below that folder";
}

TEST_F(SavedListsTest, mayListHiddenPhotosOrNot) {
  const std::int64_t hidden = photo("hidden", Dictionary{{"projectUuid", "p"}, {"isHidden", 1}});
  saveLists({{"allPhotosAlbum", {one, two, three}}}, {{"p", {one, two, hidden}}});
  EXPECT_TRUE(isInStep());
}

TEST_F(SavedListsTest, comeFromTheOtherFileWithoutAlbumData) {
  saveShortLists({{"allPhotosAlbum", {one, two, three}}, {"a", {one, three}}, {"smart", {}}});
  EXPECT_TRUE(isInStep());
  ASSERT_TRUE(savedLists().listOf("smart"));
  EXPECT_TRUE(savedLists().listOf("smart")->photos.empty());
  EXPECT_STREQ(savedLists().fileName(), "iLifeShared/AlbumData2.xml");
}

TEST_F(SavedListsTest, followAChangeOfTheOtherFile) {
  EXPECT_FALSE(isInStep());
  const std::uint64_t before = savedLists().generation();
  saveShortLists({{"allPhotosAlbum", {one, two, three}}});
  EXPECT_TRUE(isInStep());
  EXPECT_NE(savedLists().generation(), before);
}

TEST_F(SavedListsTest, areNotReadBehindALinkOutOfTheLibrary) {
  const TemporaryFolder elsewhere;
  saveShortLists({{"allPhotosAlbum", {one, two, three}}});
  const std::string folder = files.path() + "/iLifeShared";
  std::filesystem::rename(folder, elsewhere.path() / "iLifeShared");
  std::filesystem::create_symlink(elsewhere.path() / "iLifeShared", folder);
  EXPECT_FALSE(isInStep());
  EXPECT_FALSE(savedLists().listOf("allPhotosAlbum"));
}

TEST_F(SavedListsTest, preferAlbumData) {
  saveLists({{"smart", {one}}});
  saveShortLists({{"smart", {two}}});
  savedLists().refresh();
  EXPECT_THAT(savedLists().listOf("smart")->photos, ElementsAre(one));
}

TEST_F(SavedListsTest, areForgottenWithTheLibrary) {
  saveLists({{"smart", {one}}});
  savedLists().refresh();
  ASSERT_TRUE(savedLists().listOf("smart"));
  albumData().clear();
  savedLists().refresh();
  EXPECT_FALSE(savedLists().listOf("smart"));
}

}  // namespace
}  // namespace moxtel::test
