#include "library/answers/LibraryAnswers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/library/answers/AnswersFixture.h"
#include "tests/library/answers/MadeRule.h"

namespace moxtel::test {
namespace {

using testing::IsEmpty;

class LibraryAnswersTest : public AnswersTest {
 protected:
  Value keyOfAlbum(const char* uuid) {
    return answers().keyPhotoOfAlbum(Dictionary{{"AlbumId", uuid}}, true);
  }
  Value keyOfProject(const char* uuid) {
    return answers().keyPhotoOfProject(Dictionary{{"AlbumId", uuid}}, true);
  }
};

TEST_F(LibraryAnswersTest, countsTheMembersThatTheAlbumLists) {
  const std::int64_t id = album("a");
  const std::int64_t other = album("other");
  member(id, photo("one"));
  member(id, photo("in the trash", Dictionary{{"isInTrash", 1}}));
  member(id, 999);
  member(other, photo("two"));
  EXPECT_EQ(answers().photoCountOf("album", "a", static_cast<std::int32_t>(id)), 2);
  EXPECT_EQ(answers().photoCountOf("album", "none", 12345), 0);
}

TEST_F(LibraryAnswersTest, countsEachPhotoBelowAFolderOnce) {
  folder("f", "1/6/");
  folder("inner", "1/6/12/");
  folder("next", "1/60/");
  folder("trashed", "1/6/13/", 2, Dictionary{{"isInTrash", 1}});
  folder("p", "1/6/14/", 2);
  const std::int64_t one = photo("one");
  const std::int64_t inFolder = album("a", Dictionary{{"folderUuid", "f"}});
  const std::int64_t inInner = album("b", Dictionary{{"folderUuid", "inner"}});
  const std::int64_t inNext = album("c", Dictionary{{"folderUuid", "next"}});
  const std::int64_t smart = album("d", Dictionary{{"folderUuid", "f"}, {"albumSubclass", 2}});
  const std::int64_t deleted = album("e", Dictionary{{"folderUuid", "f"}, {"isInTrash", 1}});
  member(inFolder, one);
  member(inInner, one);
  member(inInner, photo("two"));
  member(inInner, photo("in the trash", Dictionary{{"isInTrash", 1}}));
  member(inInner, photo("an original", Dictionary{{"showInLibrary", 0}}));
  for (const std::int64_t elsewhere : {inNext, smart, deleted}) member(elsewhere, photo("elsewhere"));
  photo("of the project", Dictionary{{"projectUuid", "p"}});
  photo("of the project in the trash", Dictionary{{"projectUuid", "trashed"}});
  EXPECT_EQ(answers().photoCountOf("folder", "f", 0), 3);
  EXPECT_EQ(answers().photoCountOf("folder", "inner", 0), 2);
  EXPECT_EQ(answers().photoCountOf("folder", "p", 0), 1);
  EXPECT_EQ(answers().photoCountOf("folder", "none", 0), 0);
}

TEST_F(LibraryAnswersTest, countsNothingBelowAFolderWithoutAPath) {
  folder("f", "");
  folder("inner", "1/6/");
  member(album("a", Dictionary{{"folderUuid", "inner"}}), photo("one"));
  EXPECT_EQ(answers().photoCountOf("folder", "f", 0), 0);
}

TEST_F(LibraryAnswersTest, showsAnAlbumsPosterUnlessItCannotBeShown) {
  photo("poster");
  photo("in the trash", Dictionary{{"isInTrash", 1}});
  album("a", Dictionary{{"posterVersionUuid", "poster"}});
  const std::int64_t other = album("b", Dictionary{{"posterVersionUuid", "in the trash"}});
  member(other, photo("member"));
  EXPECT_EQ(keyOfAlbum("a"), Value("poster"));
  EXPECT_EQ(keyOfAlbum("b"), Value("member"));
}

TEST_F(LibraryAnswersTest, showsTheFirstPhotoOfAnAlbumInItsOrder) {
  const Dictionary sort{{"sortKeyPath", "custom.default"}, {"sortAscending", 1}};
  const std::int64_t id = album("a", sort);
  member(id, photo("one"));
  member(id, photo("two"));
  for (const auto& [uuid, place] : {std::pair{"one", 9}, std::pair{"two", 4}}) {
    files.insert("RKCustomSortOrder",
                 Dictionary{{"containerUuid", "a"}, {"objectUuid", uuid}, {"orderNumber", place}});
  }
  album("empty");
  EXPECT_EQ(keyOfAlbum("a"), Value("two"));
  EXPECT_TRUE(keyOfAlbum("empty").isNil());
  EXPECT_TRUE(keyOfAlbum("none").isNil());
}

TEST_F(LibraryAnswersTest, showsAnEventsPosterOrItsFirstPhoto) {
  album("by date", Dictionary{{"sortKeyPath", "exifProperties.ImageDate"}, {"sortAscending", 1}});
  album("by rating", Dictionary{{"sortKeyPath", "basicProperties.MainRating"}, {"sortAscending", 0}});
  photo("late", Dictionary{{"projectUuid", "p"}, {"imageDate", 20}, {"mainRating", 1}});
  photo("early", Dictionary{{"projectUuid", "p"}, {"imageDate", 10}, {"mainRating", 2}});
  photo("best", Dictionary{{"projectUuid", "q"}, {"imageDate", 30}, {"mainRating", 5}});
  photo("good", Dictionary{{"projectUuid", "q"}, {"imageDate", 10}, {"mainRating", 4}});
  photo("deleted", Dictionary{{"projectUuid", "p"}, {"imageDate", 1}, {"isInTrash", 1}});
  photo("original",
        Dictionary{{"projectUuid", "p"}, {"imageDate", 2}, {"versionNumber", 0}, {"showInLibrary", 0}});
  folder("p", "1/", 2, Dictionary{{"implicitAlbumUuid", "by date"}});
  folder("q", "2/", 2, Dictionary{{"implicitAlbumUuid", "by rating"}});
  folder("r", "3/", 2, Dictionary{{"posterVersionUuid", "good"}});
  EXPECT_EQ(keyOfProject("p"), Value("early"));
  EXPECT_EQ(keyOfProject("q"), Value("best"));
  EXPECT_EQ(keyOfProject("r"), Value("good"));
  EXPECT_TRUE(keyOfProject("none").isNil());
}

TEST_F(LibraryAnswersTest, leavesHiddenPhotosOutOfWhatNoListHas) {
  album("by date", Dictionary{{"sortKeyPath", "exifProperties.ImageDate"}, {"sortAscending", 1}});
  const std::int64_t hidden =
      photo("hidden", Dictionary{{"projectUuid", "p"}, {"imageDate", 10}, {"isHidden", 1}});
  const std::int64_t other = photo("shown", Dictionary{{"projectUuid", "p"}, {"imageDate", 20}});
  photo("odd", Dictionary{{"projectUuid", "odd event"}, {"isHidden", -1}});
  folder("f", "1/");
  folder("p", "1/2/", 2, Dictionary{{"implicitAlbumUuid", "by date"}});
  folder("with poster", "1/3/", 2, Dictionary{{"posterVersionUuid", "hidden"}});
  const std::int64_t id = album("a", Dictionary{{"folderUuid", "f"}, {"posterVersionUuid", "hidden"}});
  member(id, hidden);
  member(id, other);
  EXPECT_EQ(keyOfProject("p"), Value("hidden"));
  EXPECT_EQ(keyOfProject("with poster"), Value("hidden"));
  EXPECT_EQ(keyOfProject("odd event"), Value("odd"));
  EXPECT_EQ(keyOfAlbum("a"), Value("hidden"));
  EXPECT_EQ(answers().photoCountOf("folder", "f", 0), 2);
  opened->defaults.setString("HideHidden", "YES");
  EXPECT_EQ(keyOfProject("p"), Value("shown"));
  EXPECT_TRUE(keyOfProject("with poster").isNil());
  EXPECT_TRUE(keyOfProject("odd event").isNil());
  EXPECT_EQ(keyOfAlbum("a"), Value("shown"));
  EXPECT_EQ(answers().photoCountOf("folder", "f", 0), 1);
  EXPECT_EQ(answers().photoCountOf("album", "a", static_cast<std::int32_t>(id)), 2)
      << "as many as the album lists";
}

TEST_F(LibraryAnswersTest, countsShowsAndListsASmartAlbumAlike) {
  photo("one");
  photo("two", Dictionary{{"isFlagged", 1}, {"imageDate", 20}});
  photo("three", Dictionary{{"isFlagged", 1}, {"imageDate", 10}});
  smartAlbum("s", all({flagged()}));
  EXPECT_EQ(answers().photoCountOf("album", "s", 1), 2);
  EXPECT_EQ(keyOfAlbum("s"), Value("three"));
  const std::vector<Text> photos = answers().imageUuidsOf("album", "s", 1);
  EXPECT_THAT(photos, testing::ElementsAre(Text("three"), Text("two")));
}

TEST_F(LibraryAnswersTest, listsNoMembersOfOtherAlbums) {
  member(album("a"), photo("one"));
  EXPECT_THAT(answers().imageUuidsOf("album", "a", 1), IsEmpty());
  EXPECT_THAT(answers().imageUuidsOf("album", "none", 1), IsEmpty());
  EXPECT_THAT(answers().imageUuidsOf("album", 7, 1), IsEmpty());
}

TEST_F(LibraryAnswersTest, letsThePhotoApplicationWriteBetweenCommands) {
  const std::int64_t id = album("a");
  member(id, photo("one"));
  EXPECT_EQ(answers().photoCountOf("album", "a", static_cast<std::int32_t>(id)), 1);
  opened->nextCommand();
  EXPECT_TRUE(OtherProgram(files.pathOf(DatabaseFile::Library)).canWrite());
}

}  // namespace
}  // namespace moxtel::test
