#include "commands/ListingCommands.h"

#include "plist/KeyedArchive.h"
#include "tests/commands/CommandFixture.h"

namespace moxtel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using ListingCommandsTest = CommandFixture;

Dictionary command(const char* name) { return Dictionary{{"command", name}}; }
Dictionary command(const char* name, Value id) {
  return Dictionary{{"command", name}, {"id", std::move(id)}};
}
Value names(const char* name) { return mutableArray({mutableDictionary({{"AlbumName", name}})}); }

TEST_F(ListingCommandsTest, answersTheTopLevelLists) {
  source.topLevelAlbums = names("album");
  source.topLevelProjects = names("event");
  source.faces = names("face");
  EXPECT_EQ(reply(command("Get Albums")), result(names("album")));
  EXPECT_EQ(reply(command("Get Events")), result(names("event")));
  EXPECT_EQ(reply(command("Get Faces")), result(names("face")));
}

TEST_F(ListingCommandsTest, passesTheIdToTheLibrary) {
  source.photos = names("photo");
  source.containers = names("folder");
  source.facePhotos = names("portrait");
  EXPECT_EQ(reply(command("Photos of Album", "allPhotosAlbum")), result(names("photo")));
  EXPECT_EQ(reply(command("Folders of Album", "a'b%@c")), result(names("folder")));
  EXPECT_EQ(reply(command("Photos of Face", "f+1")), result(names("portrait")));
  EXPECT_THAT(source.questions,
              ElementsAre(Pair("photos", Value("allPhotosAlbum")), Pair("containers", Value("a'b%@c")),
                          Pair("face photos", Value("f+1"))));
}

TEST_F(ListingCommandsTest, beginsEachListingOnce) {
  int listings = 0;
  for (const char* name : {"Get Albums", "Get Events", "Get Faces", "Photos of Album", "Folders of Album",
                           "Photos of Event", "Photos of Face"}) {
    replies(command(name, "id"));
    EXPECT_EQ(source.listings, ++listings) << name;
  }
  replies(command("Get Version"));
  EXPECT_EQ(source.listings, listings);
}

TEST_F(ListingCommandsTest, convertsANumberToTheTextOfAUuid) {
  replies(command("Photos of Album", 17));
  replies(command("Folders of Album", 18));
  replies(command("Photos of Face", 19));
  EXPECT_THAT(source.questions, ElementsAre(Pair("photos", Value("17")), Pair("containers", Value("18")),
                                            Pair("face photos", Value("19"))));
}

TEST_F(ListingCommandsTest, asksTheLibraryEvenWithoutAnId) {
  EXPECT_EQ(reply(command("Photos of Album")), result(Array()));
  EXPECT_THAT(source.questions, ElementsAre(Pair("photos", Value())));
}

TEST_F(ListingCommandsTest, sendsAnEmptyListAndNoListDifferently) {
  EXPECT_EQ(reply(command("Get Albums")), result(Array()));
  source.topLevelAlbums = Value();
  EXPECT_THAT(replies(command("Get Albums")), IsEmpty());
  source.photos = Value();
  EXPECT_THAT(replies(command("Photos of Album", "x")), IsEmpty());
  EXPECT_EQ(linesBeginning("uncaught exception: "), 2u);
}

TEST_F(ListingCommandsTest, findsNoLegacyAlbumsAndEvents) {
  source.database = false;
  EXPECT_EQ(reply(command("Folders of Album", 7)), error("Album not found"));
  EXPECT_TRUE(log.contains("did not found album with ID '7'"));
  EXPECT_EQ(reply(command("Photos of Event", "8")), error("Album not found"));
  EXPECT_TRUE(log.contains("did not found album with ID '8'"));
  source.database = true;
  EXPECT_EQ(reply(command("Photos of Event", 9)), error("Album not found"));
  EXPECT_THAT(source.questions, IsEmpty());
}

TEST_F(ListingCommandsTest, answersTheChildrenOfALegacyAlbum) {
  source.database = false;
  source.legacyAlbums =
      Array{{Dictionary{{"AlbumId", 6}, {"children", names("six")}},
             Dictionary{{"AlbumId", "7"}, {"children", names("seven")}},
             Dictionary{{"AlbumId", 7}, {"children", names("too late")}}, Dictionary{{"AlbumId", 8}}}};
  EXPECT_EQ(reply(command("Folders of Album", 7)), result(names("seven")));
  EXPECT_EQ(reply(command("Folders of Album", " 6th")), result(names("six")));
  EXPECT_EQ(reply(command("Folders of Album", 8)), result(Array()));
  EXPECT_EQ(reply(command("Folders of Album", 5)), error("Album not found"));
  EXPECT_THAT(source.questions, IsEmpty());
}

TEST_F(ListingCommandsTest, readsAnIdThatIsNotANumberAsZero) {
  source.database = false;
  EXPECT_EQ(reply(command("Folders of Album", "trash")), error("Album not found"));
  EXPECT_TRUE(log.contains("did not found album with ID '0'"));
  source.legacyAlbums = Array{{Dictionary{{"AlbumId", 0}, {"children", names("zero")}}}};
  EXPECT_EQ(reply(command("Folders of Album", "trash")), result(names("zero")));
  EXPECT_EQ(reply(command("Folders of Album")), result(names("zero")));
}

TEST_F(ListingCommandsTest, ignoresTheLegacyAlbumsOfADatabase) {
  source.legacyAlbums = Array{{Dictionary{{"AlbumId", 7}, {"children", names("legacy")}}}};
  source.containers = names("database");
  EXPECT_EQ(reply(command("Folders of Album", 7)), result(names("database")));
}

TEST_F(ListingCommandsTest, answersAPhotoForEachKeyOfALegacyEvent) {
  source.legacyEvents = Array{{Dictionary{{"RollID", 3}, {"AlbumId", 4}, {"KeyList", Array{{"b", "a"}}}},
                               Dictionary{{"RollID", 5}, {"KeyList", Array()}}}};
  const Value photos =
      mutableArray({mutableDictionary({{"PhotoKey", "b"}}), mutableDictionary({{"PhotoKey", "a"}})});
  EXPECT_EQ(reply(command("Photos of Event", 3)), result(photos));
  EXPECT_TRUE(log.contains("photos: 2"));
  EXPECT_EQ(reply(command("Photos of Event", 5)), result(Array()));
  EXPECT_TRUE(log.contains("photos: 0"));
  EXPECT_EQ(reply(command("Photos of Event", 4)), error("Album not found"));
}

TEST_F(ListingCommandsTest, matchesEventsOfNewerApplicationsByAnotherField) {
  source.legacyEvents = Array{{Dictionary{{"RollID", 3}, {"AlbumId", 4}, {"KeyList", Array{{"a"}}}}}};
  source.majorVersion = 8;
  EXPECT_EQ(reply(command("Photos of Event", 4)), error("Album not found"));
  source.majorVersion = 9;
  EXPECT_EQ(reply(command("Photos of Event", 4))["result"].array().size(), 1u);
  EXPECT_EQ(reply(command("Photos of Event", 3)), error("Album not found"));
}

// The archive's class names are those of mutable collections, as clients may change what they receive.
TEST_F(ListingCommandsTest, sendsThePhotosOfAnEventAsMutableLists) {
  source.legacyEvents = Array{{Dictionary{{"RollID", 3}, {"KeyList", Array{{"a"}}}}}};
  const Value photos = reply(command("Photos of Event", 3))["result"];
  EXPECT_TRUE(photos.array().isMutable());
  EXPECT_TRUE(photos.array()[0].dictionary().isMutable());
}

}  // namespace
}  // namespace moxtel
