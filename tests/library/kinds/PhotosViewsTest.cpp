#include "library/kinds/PhotosViews.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <sstream>

#include "library/database/HelperTables.h"
#include "makelibrary/MakeLibrary.h"
#include "makelibrary/MakeLibraryOptions.h"
#include "makelibrary/PhotosPlan.h"
#include "makelibrary/SamplePlan.h"
#include "tests/TemporaryFolder.h"

using namespace moxtel;
namespace make = moxtel::makelibrary;
using make::LibraryKind;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

namespace {

using Row = std::vector<std::string>;

constexpr std::size_t kPhotos = 150;

// Each kind's library is made once.
const std::filesystem::path& libraryOf(LibraryKind kind) {
  static TemporaryFolder folder;
  static std::map<LibraryKind, std::filesystem::path> libraries;
  auto& library = libraries[kind];
  if (library.empty()) {
    make::MakeLibraryOptions options;
    options.kind = kind;
    options.photos = kPhotos;
    options.images = make::Images::Small;
    options.folder = library = std::filesystem::path(folder.path()) / std::to_string(static_cast<int>(kind));
    make::makeLibrary(options);
  }
  return library;
}

class PhotosViews : public testing::TestWithParam<LibraryKind> {
 protected:
  PhotosViews() { open(HiddenPhotos::LeaveOut); }
  ~PhotosViews() override { sqlite3_close(database_); }

  void open(HiddenPhotos hidden) {
    sqlite3_close(database_);
    const char* name = GetParam() == LibraryKind::Photos4 ? "database/photos.db" : "database/Photos.sqlite";
    const std::string uri = "file:" + (libraryOf(GetParam()) / name).string() + "?immutable=1";
    ASSERT_EQ(sqlite3_open_v2(uri.c_str(), &database_, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr),
              SQLITE_OK);
    const AdaptedSchema schema = GetParam() == LibraryKind::Photos4 ? adaptPhotos4(database_, hidden)
                                                                    : adaptPhotos5(database_, hidden);
    EXPECT_EQ(schema.code, SQLITE_OK);
    EXPECT_TRUE(schema.missing.empty()) << schema.missing.front();
    EXPECT_FALSE(schema.isWithoutTables);
    EXPECT_EQ(schema.version, GetParam() == LibraryKind::Photos4   ? "Photos 4"
                              : GetParam() == LibraryKind::Photos5 ? "Photos 5"
                                                                   : "Photos 6+");
    helpers_ = std::make_unique<HelperTables>(database_, schema.helperSteps);
    EXPECT_EQ(helpers_->attachTo(database_), SQLITE_OK);
    for (const std::string& statement : schema.views)
      EXPECT_EQ(sqlite3_exec(database_, statement.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
          << sqlite3_errmsg(database_) << "\n"
          << statement;
  }
  std::vector<Row> rows(const std::string& sql) const {
    std::vector<Row> found;
    const auto take = [](void* to, int count, char** values, char**) {
      Row row;
      for (int i = 0; i < count; ++i) row.emplace_back(values[i] ? values[i] : "NULL");
      static_cast<std::vector<Row>*>(to)->push_back(std::move(row));
      return 0;
    };
    EXPECT_EQ(sqlite3_exec(database_, sql.c_str(), take, &found, nullptr), SQLITE_OK)
        << sqlite3_errmsg(database_) << "\n"
        << sql;
    return found;
  }
  std::multiset<std::string> column(const std::string& sql) const {
    std::multiset<std::string> all;
    for (const Row& row : rows(sql)) all.insert(row[0]);
    return all;
  }
  std::string planOf(const std::string& sql) const {
    std::string plan;
    for (const Row& row : rows("EXPLAIN QUERY PLAN " + sql)) plan += row[3] + "\n";
    return plan;
  }

  static make::SamplePlan plan() {
    make::MakeLibraryOptions options;
    options.kind = GetParam();
    options.photos = kPhotos;
    options.images = make::Images::Small;
    return make::SamplePlan(options);
  }
  static std::string uuidOf(const make::Photo& photo) {
    return GetParam() == LibraryKind::Photos4 ? photo.versionUuid : make::longUuid(photo.versionUuid);
  }
  // The uuids of photos in no trash that satisfy a condition.
  static std::multiset<std::string> uuidsOf(
      const std::function<bool(const make::Photo&, make::PhotosState)>& belongs) {
    std::multiset<std::string> uuids;
    const make::SamplePlan all = plan();
    for (std::size_t i = 0; i < kPhotos; ++i) {
      const make::Photo photo = all.photo(i);
      if (!photo.inTrash && belongs(photo, make::photosState(photo))) uuids.insert(uuidOf(photo));
    }
    return uuids;
  }

  sqlite3* database_ = nullptr;
  std::unique_ptr<HelperTables> helpers_;  // freed after the connection is closed
};

std::string nameOf(const testing::TestParamInfo<LibraryKind>& kind) {
  static constexpr const char* kNames[] = {"", "Photos4", "Photos5", "Photos8", "Photos11"};
  return kNames[static_cast<int>(kind.param)];
}

INSTANTIATE_TEST_SUITE_P(Kinds, PhotosViews,
                         testing::Values(LibraryKind::Photos4, LibraryKind::Photos5, LibraryKind::Photos8,
                                         LibraryKind::Photos11),
                         nameOf);

constexpr const char* kAllPhotos = "SELECT uuid FROM RKVersion WHERE isInTrash = 0 AND versionNumber != 0";

}  // namespace

TEST_P(PhotosViews, showAllPhotosButTrashHiddenSharedAndBurst) {
  const auto shown =
      uuidsOf([](const auto&, make::PhotosState s) { return !s.hidden && !s.shared && !s.burst; });
  EXPECT_LT(shown.size(), kPhotos);
  EXPECT_EQ(column(kAllPhotos), shown);
}

TEST_P(PhotosViews, keepHiddenPhotosForWhoWantsThem) {
  open(HiddenPhotos::Keep);
  EXPECT_EQ(column(kAllPhotos),
            uuidsOf([](const auto&, make::PhotosState s) { return !s.shared && !s.burst; }));
  EXPECT_EQ(column("SELECT uuid FROM RKVersion WHERE isHidden = 1"),
            uuidsOf([](const auto&, make::PhotosState s) { return s.hidden; }));
}

TEST_P(PhotosViews, keepTheTrashForWhoWantsIt) {
  const auto shown = uuidsOf([](const auto&, make::PhotosState s) { return !s.shared && !s.burst; });
  std::multiset<std::string> trash;
  const make::SamplePlan all = plan();
  for (std::size_t i = 0; i < kPhotos; ++i) {
    const make::PhotosState state = make::photosState(all.photo(i));
    if (all.photo(i).inTrash && !state.shared && !state.burst) trash.insert(uuidOf(all.photo(i)));
  }
  constexpr const char* kTrash = "SELECT uuid FROM RKVersion WHERE isInTrash = 1 AND versionNumber != 0";
  EXPECT_TRUE(column(kTrash).empty());
  open(HiddenPhotos::KeepWithTrash);
  EXPECT_FALSE(trash.empty());
  EXPECT_EQ(column(kTrash), trash);
  EXPECT_EQ(column(kAllPhotos), shown);
  EXPECT_EQ(
      column("SELECT v.uuid FROM RKVersion v JOIN RKMaster m ON m.uuid = v.masterUuid WHERE v.isInTrash = 1"),
      trash);
}

TEST_P(PhotosViews, haveTheFactsOfEachPhoto) {
  const make::SamplePlan all = plan();
  std::map<std::string, make::Photo> photos;
  for (std::size_t i = 0; i < kPhotos; ++i) photos[uuidOf(all.photo(i))] = all.photo(i);
  for (const Row& row : rows("SELECT uuid,fileName,videoPosterFramePoint,rotation,exifLatitude IS "
                             "NULL,isFlagged,hasAdjustments,masterHeight,createDate FROM RKVersion")) {
    const make::Photo& photo = photos.at(row[0]);
    SCOPED_TRACE(photo.fileName);
    EXPECT_EQ(row[1], photo.fileName);
    EXPECT_EQ(row[2], photo.kind == make::MasterKind::Movie ? "0" : "NULL");
    EXPECT_EQ(row[3], std::to_string(photo.rotation));
    EXPECT_EQ(row[4], photo.position ? "0" : "1");
    EXPECT_EQ(row[5], photo.flagged ? "1" : "0");
    // A picture was made from each RAW original of Photos 4, as iPhoto does it.
    const bool developed = GetParam() == LibraryKind::Photos4 && photo.kind == make::MasterKind::Raw;
    EXPECT_EQ(row[6], photo.adjusted || developed ? "1" : "0");
    EXPECT_EQ(row[7], std::to_string(photo.height));
    EXPECT_NE(row[8], "NULL");
  }
}

TEST_P(PhotosViews, haveOneEventForEachPhoto) {
  const auto events =
      rows("SELECT uuid FROM RKFolder WHERE folderType = 2 AND parentFolderUuid = 'AllProjectsItem'");
  EXPECT_FALSE(events.empty());
  std::multiset<std::string> inEvents;
  for (const Row& event : events) {
    const auto photos = column(std::string(kAllPhotos) + " AND projectUuid = '" + event[0] + "'");
    EXPECT_FALSE(photos.empty()) << "an event without photos";
    inEvents.insert(photos.begin(), photos.end());
  }
  EXPECT_EQ(inEvents, column(kAllPhotos));
}

TEST_P(PhotosViews, listTheMembersOfAnAlbum) {
  const make::SamplePlan all = plan();
  for (const make::Container& album : all.albums()) {
    if (album.magic || album.subclass != 3 || album.inTrash) continue;
    std::multiset<std::string> expected;
    for (const std::size_t index : all.membersOf(album)) {
      const make::PhotosState state = make::photosState(all.photo(index));
      if (!state.hidden && !state.shared && !state.burst) expected.insert(uuidOf(all.photo(index)));
    }
    const std::string uuid = GetParam() == LibraryKind::Photos4 ? album.uuid : make::longUuid(album.uuid);
    EXPECT_EQ(
        column(
            "SELECT uuid FROM RKVersion WHERE modelId IN (SELECT versionId FROM RKAlbumVersion WHERE albumId "
            "= (SELECT modelId FROM RKAlbum WHERE uuid = '" +
            uuid + "'))"),
        expected)
        << album.name;
  }
}

TEST_P(PhotosViews, keepTheTreeOfFolders) {
  EXPECT_EQ(
      column("SELECT name FROM RKFolder WHERE folderType = 1 AND parentFolderUuid = 'TopLevelAlbums' AND "
             "isInTrash = 0"),
      (std::multiset<std::string>{"Empty folder", "Folder", "Hidden"}));
  EXPECT_EQ(
      column("SELECT name FROM RKFolder WHERE parentFolderUuid = (SELECT uuid FROM RKFolder WHERE name = "
             "'Folder')"),
      std::multiset<std::string>{"Folder in Folder"});
  EXPECT_EQ(
      column("SELECT name FROM RKAlbum WHERE folderUuid = (SELECT uuid FROM RKFolder WHERE name = 'Folder in "
             "Folder')"),
      std::multiset<std::string>{"Deep inside"});
  EXPECT_FALSE(rows("SELECT 1 FROM RKCustomSortOrder WHERE containerUuid = 'TopLevelAlbums'").empty());
}

TEST_P(PhotosViews, listNamedPersonsOnceWithTheirPhotos) {
  const make::SamplePlan all = plan();
  std::map<std::string, std::set<std::string>> expected;
  for (std::size_t i = 0; i < kPhotos; ++i) {
    const make::Photo photo = all.photo(i);
    const make::PhotosState state = make::photosState(photo);
    if (photo.inTrash || state.hidden || state.burst || (GetParam() == LibraryKind::Photos4 && state.shared))
      continue;
    for (const make::DetectedFace& face : photo.faces)
      if (face.named) expected[all.persons()[face.person].name].insert(uuidOf(photo));
  }
  std::map<std::string, std::set<std::string>> found;
  for (const Row& row :
       rows("SELECT n.name,v.uuid FROM RKFaceName n JOIN RKDetectedFace d ON d.faceKey = n.faceKey "
            "JOIN RKVersion v ON v.masterUuid = d.masterUuid"))
    found[row[0]].insert(row[1]);
  EXPECT_EQ(found, expected);
  for (const Row& row : rows("SELECT name,keyVersionUuid FROM RKFaceName"))
    EXPECT_THAT(expected[row[0]], Contains(row[1])) << "the key photo of " << row[0];
  for (const Row& row : rows("SELECT COUNT(*) FROM RKDetectedFace GROUP BY masterUuid,faceIndex"))
    EXPECT_EQ(row[0], "1") << "faces of a photo are numbered";
}

TEST_P(PhotosViews, nameFilesThatExist) {
  const auto exists = [&](const std::string& candidates) {
    std::istringstream lines(candidates);
    for (std::string line; std::getline(lines, line);)
      if (std::filesystem::exists(libraryOf(GetParam()) / line)) return true;
    return false;
  };
  for (const Row& row :
       rows("SELECT v.uuid,m.imagePath,p.thumbnailPath,p.miniThumbnailPath,p.fullSizePreviewPath "
            "FROM RKVersion v JOIN RKMaster m ON m.uuid = v.masterUuid JOIN RKImageProxyState p ON "
            "p.versionUuid = v.uuid"))
    for (std::size_t path = 1; path < row.size(); ++path) EXPECT_TRUE(exists(row[path])) << row[path];
}

TEST_P(PhotosViews, preferTheOriginalAndTheRenderedPicture) {
  const std::filesystem::path& library = libraryOf(GetParam());
  const auto first = [](const std::string& candidates) {
    return candidates.substr(0, candidates.find('\n'));
  };
  const make::SamplePlan all = plan();
  std::size_t inCloud = 0;
  for (std::size_t i = 0; i < kPhotos; ++i) {
    const make::Photo photo = all.photo(i);
    const auto found = rows(
        "SELECT m.imagePath,p.fullSizePreviewPath,v.hasAdjustments FROM RKVersion v JOIN RKMaster "
        "m ON m.uuid = v.masterUuid JOIN RKImageProxyState p ON p.versionUuid = v.uuid WHERE "
        "v.uuid = '" +
        uuidOf(photo) + "'");
    if (found.empty()) continue;
    const make::PhotoPaths paths = make::photosPaths(GetParam(), photo);
    EXPECT_EQ(std::filesystem::exists(library / first(found[0][0])), !paths.original.empty());
    if (paths.original.empty()) ++inCloud;
    if (photo.adjusted) {
      EXPECT_EQ(first(found[0][1]), paths.rendered);
    } else if (!paths.developed.empty()) {
      EXPECT_EQ(first(found[0][1]), paths.developed);
    }
  }
  EXPECT_GT(inCloud, 0U);
}

// Of a pair of which only the RAW is on the disk, a smaller picture is the last resort.
TEST_P(PhotosViews, nameTheRawOfAPairBeforeSmallerPictures) {
  const make::SamplePlan all = plan();
  std::size_t pairs = 0, live = 0;
  for (std::size_t i = 0; i < kPhotos; ++i) {
    const make::Photo photo = all.photo(i);
    const make::PhotoPaths paths = make::photosPaths(GetParam(), photo);
    const auto found = rows(
        "SELECT m.imagePath FROM RKVersion v JOIN RKMaster m ON m.uuid = v.masterUuid WHERE "
        "v.uuid = '" +
        uuidOf(photo) + "'");
    if (found.empty()) continue;
    const std::string& candidates = found[0][0];
    const std::size_t raw = candidates.find("\n" + paths.rawOriginal + "\n");
    if (!paths.rawOriginal.empty()) {
      ++pairs;
      EXPECT_LT(raw, candidates.find("derivatives")) << candidates;
    }
    if (!paths.liveMovie.empty()) {
      ++live;
      EXPECT_EQ(column("SELECT l.path FROM RKMaster m JOIN MoxtelLivePhotos l ON l.modelId = m.modelId WHERE "
                       "m.uuid = '" +
                       uuidOf(photo) + "'"),
                std::multiset<std::string>{paths.liveMovie});
    }
  }
  EXPECT_GT(pairs, 1U);
  EXPECT_EQ(live > 0, GetParam() != LibraryKind::Photos4);
}

TEST_P(PhotosViews, haveCaptions) {
  const make::SamplePlan all = plan();
  for (const Row& row :
       rows("SELECT v.uuid,(SELECT stringProperty FROM RKUniqueString WHERE modelId = (SELECT stringId "
            "FROM RKIptcProperty WHERE propertyKey = 'Caption/Abstract' AND versionId = v.modelId)) "
            "FROM RKVersion v")) {
    for (std::size_t i = 0; i < kPhotos; ++i) {
      const make::Photo photo = all.photo(i);
      if (uuidOf(photo) != row[0]) continue;
      EXPECT_EQ(row[1], photo.caption ? all.captions()[photo.caption - 1] : "NULL");
    }
  }
}

// One poor join reads all photos for each event: a minute at 100,000 photos.
TEST_P(PhotosViews, findTheirRowsByIndexes) {
  for (const char* sql :
       {"SELECT modelId,uuid FROM RKVersion WHERE projectUuid = 'x' AND versionNumber != 0 AND isInTrash = 0",
        "SELECT uuid FROM RKVersion WHERE modelId IN (SELECT versionId FROM RKAlbumVersion WHERE albumId = "
        "5)",
        "SELECT modelId FROM RKVersion WHERE uuid = 'x'", "SELECT uuid FROM RKVersion WHERE modelId = 5",
        "SELECT imagePath FROM RKMaster WHERE uuid = 'x'",
        "SELECT thumbnailPath FROM RKImageProxyState WHERE versionId = 5",
        "SELECT thumbnailPath FROM RKImageProxyState WHERE versionUuid = 'x'",
        "SELECT stringId FROM RKIptcProperty WHERE propertyKey = 'Caption/Abstract' AND versionId = 5",
        "SELECT stringProperty FROM RKUniqueString WHERE modelId = 5",
        "SELECT COUNT(uuid) FROM RKVersion WHERE masterUuid = 'x' AND versionNumber = 1",
        "SELECT masterUuid FROM RKDetectedFace WHERE faceKey = 5"}) {
    const std::string plan = planOf(sql);
    for (const char* table : {"SCAN s", "SCAN v\n", "SCAN m\n", "SCAN d\n", "SCAN f\n", "SCAN e\n"})
      EXPECT_THAT(plan, Not(HasSubstr(table))) << sql;
  }
}

TEST(PhotosSchema, isMissingInAnotherDatabase) {
  sqlite3* database = nullptr;
  sqlite3_open(":memory:", &database);
  EXPECT_TRUE(adaptPhotos5(database, HiddenPhotos::LeaveOut).isWithoutTables);
  EXPECT_TRUE(adaptPhotos4(database, HiddenPhotos::LeaveOut).isWithoutTables);
  sqlite3_close(database);
}

TEST(PhotosSchema, namesWhatAVersionDoesNotHave) {
  sqlite3* database = nullptr;
  sqlite3_open(":memory:", &database);
  sqlite3_exec(database, "CREATE TABLE ZASSET (Z_PK)", nullptr, nullptr, nullptr);
  const AdaptedSchema schema = adaptPhotos5(database, HiddenPhotos::LeaveOut);
  EXPECT_FALSE(schema.isWithoutTables);
  EXPECT_TRUE(schema.views.empty());
  EXPECT_THAT(schema.missing, Contains("table ZMOMENT"));
  sqlite3_close(database);
}

// Names come from the schema of the versions known, never from the file.
TEST(PhotosSchema, takesNoNamesFromTheDatabase) {
  sqlite3* database = nullptr;
  sqlite3_open(":memory:", &database);
  sqlite3_exec(
      database,
      "CREATE TABLE ZASSET (Z_PK); CREATE TABLE Z_PRIMARYKEY (Z_ENT, Z_NAME);"
      "INSERT INTO Z_PRIMARYKEY VALUES ('1 UNION SELECT 1 --', 'Album'), ('x; DROP TABLE ZASSET', 'Asset')",
      nullptr, nullptr, nullptr);
  for (const std::string& missing : adaptPhotos5(database, HiddenPhotos::LeaveOut).missing) {
    EXPECT_THAT(missing, Not(HasSubstr("UNION")));
    EXPECT_THAT(missing, Not(HasSubstr("DROP")));
  }
  sqlite3_close(database);
}
