#include "web/api/LibraryApi.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <thread>

#include "library/ImageFiles.h"
#include "library/PhotoRecords.h"
#include "library/RecordKeys.h"
#include "library/answers/LibraryLists.h"
#include "library/answers/OpenLibrary.h"
#include "library/database/LibraryDatabases.h"
#include "library/facts/PhotoFactsReader.h"
#include "platform/loop/CoreLoop.h"
#include "tests/fakes/RecordingMessages.h"
#include "tests/library/ServedLibrary.h"
#include "tests/web/PageFixture.h"

namespace moxtel::test {

namespace {

using makelibrary::LibraryKind;
using testing::IsEmpty;
using testing::Not;

std::set<std::int64_t> asSet(const std::vector<std::int64_t>& photos) {
  return {photos.begin(), photos.end()};
}

class LibraryApiTest : public testing::TestWithParam<LibraryKind> {
 protected:
  LibraryApiTest() { makeSampleLibrary(path_, GetParam(), 300); }

  TemporaryFolder folder_;
  const std::string path_ = (folder_.path() / "Family.photolibrary").string();
};

INSTANTIATE_TEST_SUITE_P(Kinds, LibraryApiTest,
                         testing::Values(LibraryKind::IPhoto, LibraryKind::Photos4, LibraryKind::Photos5,
                                         LibraryKind::Photos11, LibraryKind::AlbumDataOnly));

TEST_P(LibraryApiTest, describesTheLibrary) {
  Page page(path_);
  const Json libraries = page.json("/api/1/libraries");
  EXPECT_EQ(libraries["server"], "Test");
  ASSERT_EQ(libraries["libraries"].size(), 1U);
  EXPECT_EQ(libraries["libraries"][0]["served"], true);
  EXPECT_EQ(libraries["libraries"][0]["name"], "Family");
  const Json library = page.api("library");
  EXPECT_EQ(library["state"], "ready");
  EXPECT_EQ(library["photos"], page.api("list/all")["count"]);
  EXPECT_EQ(library["movies"], page.api("list/movies")["count"]);
  EXPECT_EQ(page.api("list/all?movies=1")["count"], library["movies"]);
  EXPECT_EQ(library["photos"].get<int>() + library["rejected"].get<int>(),
            page.api("list/all?rejected=1")["count"].get<int>());
  EXPECT_EQ(library["search"], "none");
}

TEST_P(LibraryApiTest, listsAllPhotosByTheirDays) {
  Page page(path_);
  const Json sections = page.api("list/all");
  int sum = 0;
  for (const Json& n : sections["n"]) sum += n.get<int>();
  EXPECT_EQ(sum, sections["count"].get<int>());
  EXPECT_EQ(sections["n"].size(), sections["day"].size());
  const auto photos = page.photosOf("all");
  EXPECT_GT(photos.size(), 200U);
  EXPECT_EQ(std::set<std::int64_t>(photos.begin(), photos.end()).size(), photos.size());
  auto newest = page.photosOf("all", "order=new");
  std::reverse(newest.begin(), newest.end());
  EXPECT_EQ(std::set<std::int64_t>(newest.begin(), newest.end()),
            std::set<std::int64_t>(photos.begin(), photos.end()));
}

TEST_P(LibraryApiTest, findsThePlaceOfEachPhoto) {
  Page page(path_);
  const auto photos = page.photosOf("all");
  const std::string version = page.api("list/all")["version"];
  for (std::size_t place = 0; place < photos.size(); place += 37)
    EXPECT_EQ(page.api("list/all/at/" + std::to_string(photos[place]) + "?v=" + version)["index"], place);
}

TEST_P(LibraryApiTest, countsListsAsTheyAre) {
  Page page(path_);
  for (const auto& [address, name] : {std::pair("albums", "albums"),
                                      {"events", "events"},
                                      {"people", "people"},
                                      {"keywords", "keywords"}}) {
    const Json lists = page.api(address)[name];
    std::set<std::string> before{""};
    for (const Json& each : lists) {
      const std::string list = each["list"];
      if (each.contains("parent") && address != std::string("events")) {
        EXPECT_TRUE(before.contains(each["parent"])) << list;
      }
      before.insert(list);
      // The count is what a user finds; rejected photos are found when they are asked for.
      EXPECT_EQ(page.photosOf(list).size(), each["count"].get<std::size_t>()) << list << " " << each["name"];
      const auto photos = page.photosOf(list, "rejected=1");
      if (each.contains("key") && each["key"] != 0) {
        EXPECT_NE(std::find(photos.begin(), photos.end(), each["key"].get<std::int64_t>()), photos.end())
            << list;
      }
    }
  }
}

TEST_P(LibraryApiTest, listsNobodyWithoutShownPhotos) {
  if (GetParam() != LibraryKind::IPhoto) GTEST_SKIP() << "the others take their people from elsewhere";
  {
    OtherProcess iPhoto(path_ + "/Database/apdb/Library.apdb");
    ASSERT_EQ(iPhoto.execute("UPDATE RKVersion SET mainRating = -1"), 0);
  }
  Page page(path_);
  EXPECT_EQ(page.api("people")["people"], Json::array());
  EXPECT_EQ(page.api("library")["people"], false);
  const Json lists = page.api("suggest?q=a")["lists"];
  for (const Json& each : lists) EXPECT_NE(each["kind"], "person");
}

TEST_P(LibraryApiTest, describesEachPhoto) {
  Page page(path_);
  std::set<std::string> albums;
  for (const std::int64_t photo : page.photosOf("all")) {
    const Json json = page.api("photo/" + std::to_string(photo));
    EXPECT_EQ(json["id"], photo);
    EXPECT_TRUE(json.contains("original"));
    EXPECT_EQ(json["kind"] == "movie", json.contains("movie"));
    for (const Json& album : json["albums"]) {
      const auto members = page.photosOf(album["list"]);
      EXPECT_NE(std::find(members.begin(), members.end(), photo), members.end()) << album;
    }
  }
}

TEST_P(LibraryApiTest, refusesWhatIsNotThere) {
  Page page(path_);
  const std::string version = page.api("list/all")["version"];
  for (const char* address : {"",
                              "other",
                              "library/1",
                              "albums/",
                              "list",
                              "list/other",
                              "list/album:999999",
                              "list/folder:999999",
                              "list/event:999999",
                              "list/person:999999",
                              "list/keyword:999999",
                              "photo",
                              "photo/999999",
                              "photo/-1",
                              "photo/x",
                              "photo/9007199254740993",
                              "photo/0",
                              "photo/1/2",
                              "list/all/1/2/3",
                              "list/all/x/1"}) {
    if (std::string(address) != "albums/") {
      EXPECT_EQ(page.apiStatus(address), 404) << address;
    }
  }
  EXPECT_EQ(page.apiStatus("list/all/99999?v=" + version), 404);
  EXPECT_EQ(page.apiStatus("list/all/-1?v=" + version), 404);
  EXPECT_EQ(page.apiStatus("list/all/18446744073709551616?v=" + version), 404);
  EXPECT_EQ(page.apiStatus("list/all/at/999999?v=" + version), 404);
  EXPECT_EQ(page.apiStatus("list/all/0"), 400);
  EXPECT_EQ(page.apiStatus("list/all/0?v=0"), 410);
  EXPECT_EQ(page.apiStatus("list/all/at/1?v=0"), 410);
  EXPECT_EQ(page.apiStatus("list/all?rating=6"), 400);
  EXPECT_EQ(page.apiStatus("list/all?order=up"), 400);
  EXPECT_EQ(page.apiStatus("suggest?q=" + std::string(501, 'a')), 400);
  EXPECT_EQ(page.fetch("/l/aaaaaaaa/api/1/library").status, 404);
  EXPECT_EQ(page.fetch("/l/aaaaaaaa/thumb/1").status, 404);
  EXPECT_EQ(page.fetch(page.root() + "api/2/library").status, 404);
  EXPECT_EQ(page.fetch("/api/1/other").status, 404);
}

// Somebody else's photos: only their album has them.
TEST_P(LibraryApiTest, listsPhotosOfASharedAlbumThereOnly) {
  if (GetParam() != LibraryKind::Photos5 && GetParam() != LibraryKind::Photos11)
    GTEST_SKIP() << "a kind without shared albums";
  Page page(path_);
  const Json albums = page.api("albums")["albums"];
  const auto shared = std::find_if(albums.begin(), albums.end(),
                                   [](const Json& each) { return each["name"] == "Shared with the family"; });
  ASSERT_NE(shared, albums.end());
  const auto photos = page.photosOf((*shared)["list"]);
  EXPECT_GT(photos.size(), 3U);
  EXPECT_EQ(photos.size(), (*shared)["count"].get<std::size_t>());
  std::set<std::int64_t> elsewhere;
  for (const char* list : {"all", "flagged", "movies"}) elsewhere.merge(asSet(page.photosOf(list)));
  for (const std::int64_t photo : photos) {
    EXPECT_FALSE(elsewhere.contains(photo));
    const Json json = page.api("photo/" + std::to_string(photo));
    ASSERT_EQ(json["albums"].size(), 1U);
    EXPECT_EQ(json["albums"][0]["list"], (*shared)["list"]);
    EXPECT_EQ(page.api("list/" + std::string("photos:") + std::to_string(photo))["count"], 1);
  }
}

TEST_P(LibraryApiTest, filtersAsItsPhotosSay) {
  Page page(path_);
  const auto all = page.photosOf("all", "rejected=1");
  std::map<std::string, std::set<std::int64_t>> expected;
  for (const std::int64_t photo : all) {
    const Json json = page.api("photo/" + std::to_string(photo));
    const int rating = json["rating"];
    if (rating < 0) continue;
    if (json["flagged"] == true) expected["flagged=1"].insert(photo);
    if (json["kind"] == "movie") expected["movies=1"].insert(photo);
    if (rating >= 3) expected["rating=3"].insert(photo);
    if (rating == 4) expected["stars=4"].insert(photo);
  }
  for (const char* filter : {"flagged=1", "movies=1", "rating=3", "stars=4"}) {
    const auto photos = page.photosOf("all", filter);
    EXPECT_EQ(std::set<std::int64_t>(photos.begin(), photos.end()), expected[filter]) << filter;
  }
  const auto flagged = page.photosOf("flagged");
  EXPECT_EQ(std::set<std::int64_t>(flagged.begin(), flagged.end()), expected["flagged=1"]);
}

TEST_P(LibraryApiTest, listsASelectionInItsOrder) {
  Page page(path_);
  const auto all = page.photosOf("all");
  const std::string list =
      "photos:" + std::to_string(all[5]) + "," + std::to_string(all[1]) + ",999999," + std::to_string(all[3]);
  EXPECT_THAT(page.photosOf(list), testing::ElementsAre(all[5], all[1], all[3]));
  EXPECT_EQ(page.api("list/" + list)["day"], Json::parse("[null]"));
}

// What the handheld's program lists, as model ids without hidden photos.
class HandheldLists final {
 public:
  explicit HandheldLists(const std::string& path) : library_(loop_, messages_, path) {
    library_.beginTask();
    library_.refresh();
    const auto columns = library_.columns();
    for (std::size_t i = 0; columns && i < columns->size(); ++i)
      if (!columns->has(i, PhotoColumns::kHidden)) shown_.insert(columns->modelId[i]);
  }
  OpenLibrary& library() { return library_; }
  std::set<std::int64_t> photosOf(const std::string& uuid) {
    std::set<std::int64_t> photos;
    const Value list = library_.photoRecords().photosInContainer(Value(uuid));
    for (const Value& photo : list.array()) {
      const std::int64_t id = photo.dictionary()[record::kModelId].integerValue();
      if (shown_.contains(id)) photos.insert(id);
    }
    return photos;
  }

 private:
  CoreLoop loop_;
  RecordingMessages messages_;
  OpenLibrary library_;
  std::set<std::int64_t> shown_;
};

TEST_P(LibraryApiTest, listsWhatTheHandheldLists) {
  Page page(path_);
  HandheldLists handheld(path_);
  int compared = 0;
  for (const LibraryContainer& container : handheld.library().lists().containers()) {
    const bool isAlbum = container.kind == LibraryContainer::Kind::Album;
    if (!isAlbum && container.kind != LibraryContainer::Kind::Event) continue;
    const std::string list = (isAlbum ? "album:" : "event:") + std::to_string(container.modelId);
    const auto photos = page.photosOf(list, "rejected=1");
    EXPECT_EQ(std::set<std::int64_t>(photos.begin(), photos.end()), handheld.photosOf(container.uuid))
        << list << " " << container.name;
    ++compared;
  }
  EXPECT_GT(compared, 3);
}

}  // namespace

}  // namespace moxtel::test
