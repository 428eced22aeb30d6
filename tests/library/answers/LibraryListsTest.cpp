// Lists of a library, and the photos in them.
#include "library/answers/LibraryLists.h"

#include <gmock/gmock.h>

#include "library/answers/AlbumMembership.h"
#include "tests/library/answers/AnswersFixture.h"

namespace moxtel {
namespace {

using test::AnswersTest;
using testing::ElementsAre;
using testing::IsEmpty;
using Kind = LibraryContainer::Kind;

class LibraryListsTest : public AnswersTest {
 protected:
  AlbumMembership& membership() {
    if (!membership_) {
      SmartAlbums& smart = smartAlbums();
      membership_.emplace(opened->databases, smart);
    };
    return *membership_;
  }
  LibraryLists& lists() {
    if (!lists_) lists_.emplace(opened->databases, membership());
    return *lists_;
  }
  std::vector<std::string> names() {
    std::vector<std::string> all;
    for (const LibraryContainer& each : lists().containers()) {
      const bool isTop = each.parent == LibraryContainer::kNoParent;
      all.push_back((isTop ? "" : lists().containers()[each.parent].uuid + "/") + each.uuid);
    }
    return all;
  }
  const LibraryContainer& container(const std::string& uuid) {
    for (const LibraryContainer& each : lists().containers())
      if (each.uuid == uuid) return each;
    throw std::runtime_error("no container " + uuid);
  }
  std::vector<std::int64_t> members(const std::string& uuid, HiddenMembers hidden = HiddenMembers::LeftOut) {
    return membership().membersOf(container(uuid).list(), hidden).value_or(std::vector<std::int64_t>{-1});
  }
  void below(const char* uuid, const char* parent, int type, const char* path) {
    folder(uuid, path, type, Dictionary{{"parentFolderUuid", parent}, {"name", uuid}});
  }

 private:
  std::optional<AlbumMembership> membership_;
  std::optional<LibraryLists> lists_;
};

TEST_F(LibraryListsTest, areATreeInTheUsersOrder) {
  below("TopLevelAlbums", "LibraryFolder", 1, "1/2/");
  below("AllProjectsItem", "LibraryFolder", 1, "1/3/");
  below("folder", "TopLevelAlbums", 1, "1/2/4/");
  below("event", "AllProjectsItem", 2, "1/3/5/");
  album("in folder", Dictionary{{"folderUuid", "folder"}});
  album("first", Dictionary{{"folderUuid", "TopLevelAlbums"}});
  album("in event", Dictionary{{"folderUuid", "event"}});
  album("allPhotosAlbum", Dictionary{{"folderUuid", "TopLevelAlbums"}});
  album("built in", Dictionary{{"folderUuid", "TopLevelAlbums"}, {"isMagic", 1}});
  album("book", Dictionary{{"folderUuid", "TopLevelAlbums"}, {"albumType", 9}});
  album("thrown away", Dictionary{{"folderUuid", "TopLevelAlbums"}, {"isInTrash", 1}});
  for (const auto& [uuid, number] : {std::pair{"first", 1}, std::pair{"book", 2}, std::pair{"folder", 3}})
    files.insert(
        "RKCustomSortOrder",
        Dictionary{{"containerUuid", "TopLevelAlbums"}, {"objectUuid", uuid}, {"orderNumber", number}});
  files.insert("RKNote", Dictionary{{"attachedToUuid", "event"}, {"note", "With boats"}});
  EXPECT_THAT(names(), ElementsAre("first", "book", "folder", "folder/in folder", "event", "event/in event"));
  EXPECT_EQ(container("first").kind, Kind::Album);
  EXPECT_EQ(container("book").kind, Kind::Other);
  EXPECT_EQ(container("event").kind, Kind::Event);
  EXPECT_EQ(container("event").note, "With boats");
  EXPECT_FALSE(container("folder").isAmongEvents);
  EXPECT_TRUE(container("in event").isAmongEvents);
}

TEST_F(LibraryListsTest, liftLostContainersAndOpenCircles) {
  below("a", "b", 1, "1/");
  below("b", "a", 1, "1/");
  album("lost", Dictionary{{"folderUuid", "nowhere"}});
  EXPECT_THAT(names(), ElementsAre("a", "a/b", "lost"));
}

TEST_F(LibraryListsTest, leaveOutWhatIsInAFolderInTheTrash) {
  folder("thrown away", "1/2/", 1, Dictionary{{"parentFolderUuid", "TopLevelAlbums"}, {"isInTrash", 1}});
  below("in it", "thrown away", 1, "1/2/3/");
  album("deep in it", Dictionary{{"folderUuid", "in it"}});
  album("kept", Dictionary{{"folderUuid", "TopLevelAlbums"}});
  EXPECT_THAT(names(), ElementsAre("kept"));
}

TEST_F(LibraryListsTest, countPhotosThatAreShown) {
  below("event", "AllProjectsItem", 2, "1/3/");
  below("folder", "TopLevelAlbums", 1, "1/4/");
  const auto in = [](double date) { return Dictionary{{"projectUuid", "event"}, {"imageDate", date}}; };
  const std::int64_t late = photo("late", in(200));
  const std::int64_t early = photo("early", in(100));
  photo("hidden", Dictionary{{"projectUuid", "event"}, {"imageDate", 50.0}, {"isHidden", 1}});
  photo("trash", Dictionary{{"projectUuid", "event"}, {"isInTrash", 1}});
  photo("rejected", Dictionary{{"projectUuid", "event"}, {"imageDate", 60.0}, {"mainRating", -1}});
  const std::int64_t dateless = photo("dateless");
  const std::int64_t regular =
      album("album", Dictionary{{"folderUuid", "folder"}, {"posterVersionUuid", "late"}});
  for (const std::int64_t id :
       {late, dateless, std::int64_t{3}, std::int64_t{4}, std::int64_t{5}, std::int64_t{99}})
    member(regular, id);
  constexpr std::int64_t kReference = 978307200;
  EXPECT_EQ(container("event").count, 2U);
  EXPECT_EQ(container("event").keyPhoto, early);
  EXPECT_EQ(container("event").firstDate, kReference + 100);
  EXPECT_EQ(container("event").lastDate, kReference + 200);
  EXPECT_EQ(container("album").count, 2U);
  EXPECT_EQ(container("album").keyPhoto, late);
  EXPECT_EQ(container("folder").count, 2U);
  EXPECT_EQ(container("folder").keyPhoto, late);
  EXPECT_THAT(members("event"), ElementsAre(5, early, late));
  EXPECT_THAT(members("event", HiddenMembers::Included), ElementsAre(3, 5, early, late));
  EXPECT_THAT(members("album"), ElementsAre(late, dateless, 5));
  EXPECT_THAT(members("folder"), ElementsAre(5, late, dateless));
}

TEST_F(LibraryListsTest, keepTheOrderOfTheUser) {
  const std::int64_t one = photo("one", Dictionary{{"mainRating", 1}});
  const std::int64_t two = photo("two", Dictionary{{"mainRating", 5}});
  const std::int64_t rated =
      album("rated", Dictionary{{"sortKeyPath", "basicProperties.MainRating"}, {"sortAscending", 0}});
  const std::int64_t placed =
      album("placed", Dictionary{{"sortKeyPath", "custom.default"}, {"sortAscending", 1}});
  const std::int64_t plain = album("plain");
  for (const std::int64_t id : {one, two}) member(rated, id);
  for (const std::int64_t id : {one, two}) member(placed, id);
  for (const std::int64_t id : {two, one, two}) member(plain, id);
  files.insert("RKCustomSortOrder",
               Dictionary{{"containerUuid", "placed"}, {"objectUuid", "one"}, {"orderNumber", 9}});
  files.insert("RKCustomSortOrder",
               Dictionary{{"containerUuid", "placed"}, {"objectUuid", "two"}, {"orderNumber", 8}});
  EXPECT_THAT(members("rated"), ElementsAre(two, one));
  EXPECT_THAT(members("placed"), ElementsAre(two, one));
  EXPECT_THAT(members("plain"), ElementsAre(two, one));
}

TEST_F(LibraryListsTest, knowSmartAlbumsAndTheAlbumsOfAPhoto) {
  const std::int64_t plain = photo("plain");
  const std::int64_t flagged = photo("flagged", Dictionary{{"isFlagged", 1}});
  const std::int64_t regular = album("regular");
  member(regular, flagged);
  member(regular, plain);
  smartAlbum("smart", test::all({test::flagged()}));
  EXPECT_THAT(members("smart"), ElementsAre(flagged));
  EXPECT_EQ(container("smart").count, 1U);
  EXPECT_EQ(container("smart").kind, Kind::SmartAlbum);
  EXPECT_THAT(membership().albumsOf(flagged), ElementsAre(regular, container("smart").modelId));
  EXPECT_THAT(membership().albumsOf(plain), ElementsAre(regular));
  EXPECT_EQ(lists().containersOf(flagged).size(), 2U);
}

TEST_F(LibraryListsTest, namePeopleWithTheirPhotos) {
  const std::int64_t one = photo("one", Dictionary{{"masterUuid", "m1"}, {"imageDate", 2.0}});
  const std::int64_t two = photo("two", Dictionary{{"masterUuid", "m2"}, {"imageDate", 1.0}});
  photo("hidden", Dictionary{{"masterUuid", "m3"}, {"isHidden", 1}});
  const auto person = [this](int key, const Value& name, const Value& keyPhoto) {
    return files.insert("RKFaceName", Dictionary{{"modelId", 10 + key},
                                                 {"faceKey", key},
                                                 {"uuid", "face " + std::to_string(key)},
                                                 {"name", name},
                                                 {"keyVersionUuid", keyPhoto}});
  };
  const auto face = [this](int key, const char* master, int index, int rejected = 0) {
    files.insert(
        "RKDetectedFace",
        Dictionary{{"faceKey", key}, {"masterUuid", master}, {"faceIndex", index}, {"rejected", rejected}});
  };
  person(1, "Zoë", "one");
  person(2, "Anna", "hidden");
  person(3, "Nobody", "one");
  person(4, {}, "one");
  face(1, "m1", 3);
  face(1, "m1", 4);
  face(1, "m2", 0);
  face(1, "m3", 0);
  face(2, "m2", 1);
  face(3, "m1", 5, 1);
  face(4, "m1", 6);
  const std::vector<LibraryPerson>& people = lists().people();
  ASSERT_EQ(people.size(), 2U);
  EXPECT_EQ(people[0].name, "Anna");
  EXPECT_EQ(people[0].keyPhoto, two);
  EXPECT_EQ(people[0].faceIndex, 1);
  EXPECT_EQ(people[1].name, "Zoë");
  EXPECT_EQ(people[1].modelId, 11);
  EXPECT_EQ(people[1].count, 2U);
  EXPECT_EQ(people[1].keyPhoto, one);
  EXPECT_EQ(people[1].faceIndex, 3);
  EXPECT_EQ(membership().membersOf({PhotoList::Kind::Person, 11}), (std::vector{two, one}));
}

TEST_F(LibraryListsTest, knowNoListThatIsNotThere) {
  photo("one");
  for (const auto kind : {PhotoList::Kind::Album, PhotoList::Kind::Folder, PhotoList::Kind::Event,
                          PhotoList::Kind::Person, PhotoList::Kind::Keyword})
    EXPECT_FALSE(membership().membersOf({kind, 4711}));
  EXPECT_THAT(membership().albumsOf(4711), IsEmpty());
  EXPECT_THAT(lists().containersOf(4711), IsEmpty());
}

}  // namespace
}  // namespace moxtel
