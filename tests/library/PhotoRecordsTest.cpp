#include "library/PhotoRecords.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "library/albumdata/AlbumEntries.h"
#include "platform/system/SystemLog.h"
#include "tests/fakes/RecordingPhotoApplication.h"
#include "tests/library/TestLibrary.h"

namespace moxtel {
namespace {

using test::keysOf;
using test::OpenedLibrary;
using test::OtherProgram;
using test::RecordingPhotoApplication;
using test::TestLibrary;
using test::valuesOf;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

struct AlbumTable final : AlbumEntries {
  std::map<std::string, Value, std::less<>> entries;
  const Value& containerDict(std::string_view key) const override {
    static const Value kNothing;
    const auto entry = entries.find(key);
    return entry == entries.end() ? kNothing : entry->second;
  }
};

class PhotoRecordsTest : public testing::Test {
 protected:
  void version(std::int64_t modelId, Value uuid, Dictionary more = Dictionary()) {
    Dictionary row{{"modelId", modelId}, {"uuid", uuid}, {"versionNumber", 1}, {"isInTrash", 0}};
    for (const auto& entry : more) row.set(entry.key, entry.value);
    files.insert("RKVersion", row);
  }
  void inProject(std::int64_t modelId, Value uuid, Dictionary more = Dictionary()) {
    more.set("projectUuid", "p");
    version(modelId, uuid, more);
  }
  void makeProject(const char* uuid = "p") {
    files.insert("RKFolder", Dictionary{{"uuid", uuid}, {"folderType", 2}});
  }
  void makeAlbum(const char* uuid, std::int64_t modelId, const std::vector<std::int64_t>& members) {
    files.insert("RKAlbum", Dictionary{{"uuid", uuid}, {"modelId", modelId}});
    for (const std::int64_t member : members)
      files.insert("RKAlbumVersion", Dictionary{{"albumId", modelId}, {"versionId", member}});
  }
  void text(const char* table, const char* key, std::int64_t versionId, const Value& value) {
    const std::int64_t stringId = files.insert("RKUniqueString", Dictionary{{"stringProperty", value}});
    files.insert(table, Dictionary{{"versionId", versionId}, {"propertyKey", key}, {"stringId", stringId}});
  }
  void caption(std::int64_t versionId, const Value& value) {
    text("RKIptcProperty", "Caption/Abstract", versionId, value);
  }
  void comment(std::int64_t versionId, const Value& value) {
    text("RKExifStringProperty", "ImageDescription", versionId, value);
  }
  void open() {
    opened.emplace(files);
    records.emplace(opened->databases, albums, application);
  }
  Value photosIn(const Value& uuid) {
    if (!records) open();
    return records->photosInContainer(uuid);
  }
  Value photo(const Value& uuid) {
    if (!records) open();
    return records->photoDictWithVersionId(uuid);
  }

  TestLibrary files;
  AlbumTable albums;
  RecordingPhotoApplication application;
  std::optional<OpenedLibrary> opened;
  std::optional<PhotoRecords> records;
};

TEST_F(PhotoRecordsTest, listsTheWholeLibraryWithoutCaptions) {
  version(1, "original", Dictionary{{"versionNumber", 0}});
  version(2, "seen", Dictionary{{"exifLatitude", 48.5}, {"exifLongitude", -9}});
  version(3, "duplicate", Dictionary{{"versionNumber", 2}});
  version(4, "trashed", Dictionary{{"isInTrash", 1}});
  version(5, "odd", Dictionary{{"versionNumber", Value()}});
  caption(2, "Caption");
  comment(2, "Comment");
  const Value photos = photosIn("allPhotosAlbum");
  ASSERT_EQ(photos.array().size(), 2U);
  EXPECT_EQ(photos.array()[0], Value(Dictionary{{"PhotoKey", "seen"},
                                                {"ModelId", 2},
                                                {"MediaType", "Image"},
                                                {"FoundBy", "SQL"},
                                                {"latitude", 48.5},
                                                {"longitude", -9.0}}));
  EXPECT_THAT(keysOf(photos.array()[1]), ElementsAre("PhotoKey", "ModelId", "MediaType", "FoundBy"));
}

TEST_F(PhotoRecordsTest, answersMutableArraysOfMutableDictionaries) {
  makeProject();
  inProject(1, "v");
  makeAlbum("a", 7, {1});
  caption(1, "Caption");
  for (const char* container : {"allPhotosAlbum", "p", "a"}) {
    const Value photos = photosIn(container);
    ASSERT_EQ(photos.array().size(), 1U) << container;
    EXPECT_TRUE(photos.array().isMutable());
    EXPECT_TRUE(photos.array()[0].dictionary().isMutable());
  }
  EXPECT_TRUE(photo("v").dictionary().isMutable());
}

// For each member of an album all versions with its uuid are listed.
TEST_F(PhotoRecordsTest, rejectsAListThatIsTooLarge) {
  makeProject();
  std::vector<std::int64_t> members;
  for (int i = 1; i <= 30; ++i) {
    inProject(i, "same");
    caption(i, std::string(1000, 'c'));
    members.push_back(i);
  }
  makeAlbum("a", 7, members);
  open();
  const auto listed = [this](const char* container, std::uint64_t largest) {
    PhotoRecords bounded(opened->databases, albums, application, largest);
    return bounded.photosInContainer(container).array().size();
  };
  EXPECT_EQ(listed("a", 2'000'000), 900U);
  EXPECT_THROW(listed("a", 800'000), ArchiveTooLargeError) << "for the captions";
  EXPECT_THROW(listed("a", 60'000), ArchiveTooLargeError);
  EXPECT_EQ(listed("p", 60'000), 30U);
  EXPECT_THROW(listed("p", 20'000), ArchiveTooLargeError) << "for the captions";
  EXPECT_THROW(listed("allPhotosAlbum", 2'000), ArchiveTooLargeError);
  // Read one by one where SQLite has statistics.
  opened->nextCommand();
  files.execute(DatabaseFile::Library, "ANALYZE");
  EXPECT_EQ(listed("a", 2'000'000), 900U);
  EXPECT_THROW(listed("a", 60'000), ArchiveTooLargeError);
  EXPECT_EQ(opened->databases.databaseOpenCount(), 0);
}

TEST_F(PhotoRecordsTest, listsAProjectsVisibleVersions) {
  makeProject();
  inProject(1, "original", Dictionary{{"versionNumber", 0}});
  inProject(2, "seen");
  inProject(3, "movie", Dictionary{{"videoPosterFramePoint", "0/600"}});
  inProject(4, "no movie", Dictionary{{"videoPosterFramePoint", ""}});
  inProject(5, "trashed", Dictionary{{"isInTrash", 1}});
  version(6, "elsewhere", Dictionary{{"projectUuid", "q"}});
  const Value photos = photosIn("p");
  EXPECT_THAT(valuesOf(photos, "PhotoKey"), ElementsAre(Value("seen"), Value("movie"), Value("no movie")));
  EXPECT_THAT(valuesOf(photos, "MediaType"), ElementsAre(Value("Image"), Value("Movie"), Value("Image")));
  EXPECT_THAT(valuesOf(photos, "FoundBy"), Each(Value("SQL")));
}

// What SQLite itself lists for the query with its values filled in, in its order.
std::vector<Value> uuidsAsSQLiteListsThem(const std::string& file, const std::string& project) {
  sqlite3* connection = nullptr;
  sqlite3_stmt* statement = nullptr;
  sqlite3_open_v2(file.c_str(), &connection, SQLITE_OPEN_READONLY, nullptr);
  const std::string sql =
      "SELECT uuid,modelId,exifLatitude,exifLongitude,videoPosterFramePoint FROM RKVersion WHERE projectUuid "
      "= "
      "'" +
      project + "' AND versionNumber != 0 AND isInTrash = 0";
  EXPECT_EQ(sqlite3_prepare_v2(connection, sql.c_str(), -1, &statement, nullptr), SQLITE_OK);
  std::vector<Value> uuids;
  while (sqlite3_step(statement) == SQLITE_ROW) {
    uuids.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(statement, 0)));
  }
  sqlite3_finalize(statement);
  sqlite3_close(connection);
  return uuids;
}

// By its rows, whatever indexes there are; with statistics the order is SQLite's own.
TEST_F(PhotoRecordsTest, listsAProjectByItsRowsOrByStatistics) {
  makeProject();
  files.execute(DatabaseFile::Library,
                "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 2000) INSERT INTO "
                "RKVersion(uuid,versionNumber,projectUuid,isInTrash,imageDate) SELECT 'v' || i, i % 3, "
                "iif(i % 50, 'q', 'p'), iif(i % 7, 0, '0'), -i FROM n");
  const auto expected = [this] { return uuidsAsSQLiteListsThem(files.pathOf(DatabaseFile::Library), "p"); };
  const std::vector<Value> byRow = expected();
  EXPECT_THAT(byRow, testing::SizeIs(27));
  EXPECT_EQ(valuesOf(photosIn("p"), "PhotoKey"), byRow);
  for (const char* change :
       {"DROP INDEX RKVersion_isInTrash_index", "DROP INDEX RKVersion_projectUuid_imageDate_index",
        "CREATE INDEX RKVersion_isInTrash_index ON RKVersion(isInTrash)",
        "CREATE INDEX RKVersion_projectUuid_imageDate_index ON RKVersion(projectUuid,imageDate)"}) {
    opened->nextCommand();
    files.execute(DatabaseFile::Library, change);
    EXPECT_EQ(valuesOf(photosIn("p"), "PhotoKey"), byRow) << change;
  }
  opened->nextCommand();
  files.execute(DatabaseFile::Library, "ANALYZE");
  EXPECT_NE(expected(), byRow);
  EXPECT_EQ(valuesOf(photosIn("p"), "PhotoKey"), expected());
}

// The model ids of an album's photos, with a query for each uuid.
std::vector<Value> modelIdsOneByOne(LibraryDatabases& databases, std::int32_t album) {
  Query members = databases.run(
      DatabaseFile::Library,
      "SELECT uuid FROM RKVersion WHERE modelId IN (SELECT versionId FROM RKAlbumVersion WHERE albumId = %d)",
      {album});
  std::vector<Value> modelIds;
  while (members.step()) {
    const Value uuid = members.stringColumn(0);
    if (uuid.isNil()) continue;
    Query photos =
        databases.run(DatabaseFile::Library, "SELECT modelId FROM RKVersion WHERE uuid = '%@'", {uuid});
    while (photos.step()) modelIds.push_back(photos.integerNumberColumn(0));
  }
  return modelIds;
}

// The members are read in one query. Uuids that several versions have, that are not texts, or that a query
// cannot contain give what a query for each gives.
TEST_F(PhotoRecordsTest, listsAnAlbumAsItsPhotosOneByOne) {
  makeAlbum("a", 7, {});
  files.execute(
      DatabaseFile::Library,
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1500) INSERT INTO "
      "RKVersion(modelId,uuid,versionNumber,isInTrash,exifLatitude) SELECT i * 2, 'v' || (i * 7919 % "
      "1500), 1, 0, i FROM n; INSERT INTO RKAlbumVersion(albumId,versionId) SELECT 7, modelId FROM "
      "RKVersion WHERE modelId % 5");
  for (const char* change : {"SELECT 1", "UPDATE RKVersion SET uuid = NULL WHERE modelId % 11 = 0",
                             "UPDATE RKVersion SET uuid = 'twice' WHERE modelId % 300 IN (2, 10)",
                             "UPDATE RKVersion SET uuid = CAST('v77' AS BLOB) WHERE modelId = 40",
                             "UPDATE RKVersion SET uuid = 'v78' || char(0) || 'x' WHERE modelId = 42",
                             "UPDATE RKVersion SET uuid = x'ff' WHERE modelId = 44",
                             "UPDATE RKVersion SET uuid = '' WHERE modelId = 46", "ANALYZE",
                             "UPDATE RKVersion SET uuid = 'it''s' WHERE modelId = 48"}) {
    files.execute(DatabaseFile::Library, change);
    OpenedLibrary served(files);
    PhotoRecords listing(served.databases, albums, application);
    SystemLogCapture log;
    const Value photos = listing.photosInContainer("a");
    const auto listed = log.lines();
    EXPECT_EQ(valuesOf(photos, "ModelId"), modelIdsOneByOne(served.databases, 7)) << change;
    EXPECT_THAT(valuesOf(photos, "FoundBy"), Each(Value("AppleScript")));
    for (const Value& photo : photos.array()) {
      ASSERT_EQ(photo["latitude"].doubleValue() * 2, photo["ModelId"].doubleValue());
    }
    EXPECT_THAT(listed, testing::SizeIs(std::strstr(change, "it''s") ? 1 : 0)) << change;
  }
}

TEST_F(PhotoRecordsTest, addsCoordinatesWhereTheDatabaseHasThem) {
  makeProject();
  inProject(1, "none");
  inProject(2, "half", Dictionary{{"exifLongitude", 0.0}});
  inProject(3, "whole", Dictionary{{"exifLatitude", -33.8675}, {"exifLongitude", 151}});
  inProject(4, "text", Dictionary{{"exifLatitude", "north"}, {"exifLongitude", 1e308}});
  const Value photos = photosIn("p");
  EXPECT_THAT(valuesOf(photos, "latitude"), ElementsAre(Value(), Value(), Value(-33.8675), Value(0.0)));
  EXPECT_THAT(valuesOf(photos, "longitude"), ElementsAre(Value(), Value(0.0), Value(151.0), Value(1e308)));
}

TEST_F(PhotoRecordsTest, skipsRowsWithoutAUuid) {
  makeProject();
  inProject(1, Value());
  inProject(2, "v");
  makeAlbum("a", 7, {1, 2});
  for (const char* container : {"allPhotosAlbum", "p", "a"})
    EXPECT_THAT(valuesOf(photosIn(container), "PhotoKey"), ElementsAre(Value("v"))) << container;
}

TEST_F(PhotoRecordsTest, saysAppleScriptForEveryPhotoOfAnAlbum) {
  version(10, "a");
  version(11, "b", Dictionary{{"videoPosterFramePoint", "1"}, {"exifLatitude", 1.5}});
  makeAlbum("album", 7, {11, 10, 99});
  makeAlbum("smart", 8, {});
  application.images["smart"] = {"b", "a", "unknown", "b"};
  const Value members = photosIn("album");
  EXPECT_THAT(valuesOf(members, "PhotoKey"), testing::UnorderedElementsAre(Value("a"), Value("b")));
  EXPECT_THAT(valuesOf(members, "FoundBy"), Each(Value("AppleScript")));
  EXPECT_THAT(application.questions, IsEmpty());
  const Value asked = photosIn("smart");
  EXPECT_THAT(valuesOf(asked, "PhotoKey"), ElementsAre(Value("b"), Value("a"), Value("b")));
  EXPECT_THAT(valuesOf(asked, "FoundBy"), Each(Value("AppleScript")));
  EXPECT_EQ(asked.array()[0], Value(Dictionary{{"PhotoKey", "b"},
                                               {"ModelId", 11},
                                               {"MediaType", "Movie"},
                                               {"FoundBy", "AppleScript"},
                                               {"latitude", 1.5}}));
  EXPECT_THAT(application.questions, ElementsAre("images of album smart 8"));
}

TEST_F(PhotoRecordsTest, listsMembersOfAnAlbumWhateverTheirVersionAndTrash) {
  version(1, "original", Dictionary{{"versionNumber", 0}});
  version(2, "trashed", Dictionary{{"isInTrash", 1}});
  makeAlbum("a", 7, {1, 2, 2});
  EXPECT_THAT(valuesOf(photosIn("a"), "PhotoKey"), ElementsAre(Value("original"), Value("trashed")));
}

TEST_F(PhotoRecordsTest, addsEveryRowOfAMembersUuid) {
  version(1, "twin");
  version(2, "twin");
  makeAlbum("a", 7, {1});
  EXPECT_THAT(valuesOf(photosIn("a"), "ModelId"), ElementsAre(Value(1), Value(2)));
}

TEST_F(PhotoRecordsTest, asksAboutAnUnknownContainerAsOfAnAlbumWithoutModelId) {
  for (const Value& id : {Value("nowhere"), Value(), Value(12), Value("TopLevelAlbums")}) {
    const Value photos = photosIn(id);
    ASSERT_TRUE(photos.isArray());
    EXPECT_TRUE(photos.array().empty());
  }
  EXPECT_THAT(application.questions, ElementsAre("images of album nowhere 0", "images of album (null) 0",
                                                 "images of album 12 0", "images of album TopLevelAlbums 0"));
}

TEST_F(PhotoRecordsTest, findsContainersByANumberThatIsTheirUuid) {
  makeProject("12");
  version(1, "v", Dictionary{{"projectUuid", "12"}});
  EXPECT_THAT(valuesOf(photosIn(12), "PhotoKey"), ElementsAre(Value("v")));
}

TEST_F(PhotoRecordsTest, listsAPlainFolderAsAnEmptyProject) {
  files.insert("RKFolder", Dictionary{{"uuid", "f"}, {"folderType", 1}});
  EXPECT_THAT(photosIn("f").array().items(), IsEmpty());
  EXPECT_THAT(application.questions, IsEmpty());
}

TEST_F(PhotoRecordsTest, usesAnAlbumEntryOfTheFixedName) {
  version(1, "v");
  makeAlbum("a", 7, {});
  files.insert("RKAlbumVersion", Dictionary{{"albumId", 40}, {"versionId", 1}});
  albums.entries["a"] = Dictionary{{"AlbumId", 50}};
  EXPECT_THAT(photosIn("a").array().items(), IsEmpty());
  albums.entries["containerUuid"] = Dictionary{{"AlbumId", 40}, {"Album Type", "Smart"}};
  SystemLogCapture log;
  EXPECT_THAT(valuesOf(photosIn("a"), "PhotoKey"), ElementsAre(Value("v")));
  EXPECT_TRUE(log.contains("found smart album " + describe(albums.entries["containerUuid"])));
}

TEST_F(PhotoRecordsTest, logsNoRegularAlbumEntry) {
  makeAlbum("a", 7, {});
  albums.entries["containerUuid"] = Dictionary{{"AlbumType", "Smart"}, {"Album Type", "Regular"}};
  open();
  SystemLogCapture log;
  photosIn("a");
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_THAT(application.questions, ElementsAre("images of album a 7"));
}

TEST_F(PhotoRecordsTest, addsCaptionsAndCommentsOfProjectsAndAlbums) {
  makeProject();
  inProject(1, "both");
  inProject(2, "caption");
  inProject(3, "comment", Dictionary{{"exifLatitude", 1.0}});
  inProject(4, "empty");
  inProject(5, "null");
  makeAlbum("a", 7, {1, 2, 3, 4, 5});
  caption(1, "Ä caption 🗻");
  comment(1, "it's a \"comment\"\n100%");
  caption(2, "alone");
  comment(3, "alone too");
  caption(4, "");
  comment(4, "");
  caption(5, Value());
  text("RKIptcProperty", "Byline", 5, "someone");
  text("RKExifStringProperty", "Model", 5, "a camera");
  for (const char* container : {"p", "a"}) {
    const Value photos = photosIn(container);
    EXPECT_THAT(valuesOf(photos, "Caption"),
                ElementsAre(Value("Ä caption 🗻"), Value("alone"), Value(), Value(), Value()));
    EXPECT_THAT(valuesOf(photos, "Comment"), ElementsAre(Value("it's a \"comment\"\n100%"), Value(),
                                                         Value("alone too"), Value(), Value()));
    EXPECT_THAT(keysOf(photos.array()[0]),
                ElementsAre("PhotoKey", "ModelId", "MediaType", "FoundBy", "Caption", "Comment"));
  }
}

TEST_F(PhotoRecordsTest, letsTheLastTextWin) {
  makeProject();
  inProject(1, "v");
  caption(1, "kept");
  files.execute(DatabaseFile::Properties,
                "ALTER TABLE RKUniqueString RENAME TO old;"
                "CREATE TABLE RKUniqueString(modelId integer, stringProperty varchar);"
                "INSERT INTO RKUniqueString SELECT modelId, 'first' FROM old;"
                "INSERT INTO RKUniqueString SELECT modelId, 'last' FROM old;"
                "INSERT INTO RKUniqueString SELECT modelId, '' FROM old;"
                "INSERT INTO RKUniqueString SELECT modelId, NULL FROM old;");
  EXPECT_EQ(photosIn("p").array()[0]["Caption"], Value("last"));
}

TEST_F(PhotoRecordsTest, logsPhotosWithoutAModelId) {
  makeProject();
  inProject(0, "zero");
  inProject(1LL << 32, "zero in 32 bits");
  caption(0, "never seen");
  open();
  SystemLogCapture log;
  const Value photos = photosIn("p");
  EXPECT_THAT(valuesOf(photos, "ModelId"), ElementsAre(Value(0), Value(0)));
  EXPECT_THAT(valuesOf(photos, "Caption"), Each(Value()));
  EXPECT_THAT(log.lines(), ElementsAre("no modelid", "no modelid"));
}

TEST_F(PhotoRecordsTest, keepsTheLowBitsOfAWideModelId) {
  version((1LL << 33) + 5, "v");
  EXPECT_EQ(photosIn("allPhotosAlbum").array()[0]["ModelId"], Value(5));
}

TEST_F(PhotoRecordsTest, listsWithoutCaptionsWhenPropertiesCannotBeOpened) {
  makeProject();
  inProject(1, "v");
  files.remove(DatabaseFile::Properties);
  open();
  SystemLogCapture log;
  EXPECT_THAT(valuesOf(photosIn("p"), "PhotoKey"), ElementsAre(Value("v")));
  EXPECT_TRUE(log.contains("could not open Properties DB"));
}

TEST_F(PhotoRecordsTest, listsWithoutCaptionsWhenTheirTablesAreMissing) {
  makeProject();
  inProject(1, "v");
  files.execute(DatabaseFile::Properties, "DROP TABLE RKIptcProperty; DROP TABLE RKExifStringProperty");
  open();
  SystemLogCapture log;
  EXPECT_THAT(valuesOf(photosIn("p"), "PhotoKey"), ElementsAre(Value("v")));
  EXPECT_THAT(log.lines(),
              ElementsAre("could not prepare query 'SELECT stringProperty FROM RKUniqueString WHERE modelId "
                          "= (SELECT stringId FROM RKIptcProperty WHERE propertyKey = 'Caption/Abstract' AND "
                          "versionId = 1)'",
                          "could not prepare query 'SELECT stringProperty FROM RKUniqueString WHERE modelId "
                          "= (SELECT stringId FROM RKExifStringProperty WHERE propertyKey = "
                          "'ImageDescription' AND versionId = 1)'"));
}

TEST_F(PhotoRecordsTest, answersNoListWithoutTheLibraryDatabaseAndThenAnEmptyOne) {
  files.remove(DatabaseFile::Library);
  EXPECT_TRUE(photosIn("allPhotosAlbum").isNil());
  const Value second = photosIn("p");
  EXPECT_TRUE(second.isArray());
  EXPECT_TRUE(second.array().empty());
}

TEST_F(PhotoRecordsTest, answersAnEmptyListWhenTheTableIsMissing) {
  files.execute(DatabaseFile::Library, "DROP TABLE RKVersion");
  open();
  SystemLogCapture log;
  EXPECT_THAT(photosIn("allPhotosAlbum").array().items(), IsEmpty());
  EXPECT_TRUE(
      log.contains("could not prepare query 'SELECT modelId,uuid,exifLatitude,exifLongitude,"
                   "videoPosterFramePoint FROM RKVersion WHERE isInTrash = 0 AND versionNumber != 0'"));
}

TEST_F(PhotoRecordsTest, neverTakesAContainerForSql) {
  makeProject();
  inProject(1, "v");
  EXPECT_THAT(photosIn("x' OR 'x' = 'x").array().items(), IsEmpty());
  EXPECT_THAT(photosIn(Value(std::string_view("p\0' OR 1", 8))).array().items(), IsEmpty());
}

TEST_F(PhotoRecordsTest, holdsNoQueryWhileItAsks) {
  makeAlbum("a", 7, {});
  open();
  OtherProgram writer(files.pathOf(DatabaseFile::Library));
  bool asked = false;
  application.onQuestion = [&] {
    asked = true;
    opened->databases.releaseLocks();
    EXPECT_TRUE(writer.canWrite());
  };
  photosIn("a");
  EXPECT_TRUE(asked);
}

TEST_F(PhotoRecordsTest, closesWhatItOpened) {
  makeProject();
  inProject(1, "v");
  for (const char* container : {"allPhotosAlbum", "p", "a"}) photosIn(container);
  photo("v");
  EXPECT_EQ(opened->databases.databaseOpenCount(), 0);
}

TEST_F(PhotoRecordsTest, describesASinglePhoto) {
  version(3, "v",
          Dictionary{{"fileName", "Été 1.JPG"},
                     {"rotation", 270},
                     {"exifLatitude", 0.0},
                     {"exifLongitude", 12.25},
                     {"versionNumber", 0},
                     {"isInTrash", 1}});
  version(4, "movie", Dictionary{{"videoPosterFramePoint", "1"}});
  EXPECT_EQ(photo("v"), Value(Dictionary{{"PhotoKey", "v"},
                                         {"ModelId", 3},
                                         {"FileName", "Été 1.JPG"},
                                         {"Rotation", 270},
                                         {"MediaType", "Image"},
                                         {"FoundBy", "SQL"},
                                         {"latitude", 0.0},
                                         {"longitude", 12.25}}));
  EXPECT_EQ(photo("movie"), Value(Dictionary{{"PhotoKey", "movie"},
                                             {"ModelId", 4},
                                             {"Rotation", 0},
                                             {"MediaType", "Movie"},
                                             {"FoundBy", "SQL"}}));
}

TEST_F(PhotoRecordsTest, letsTheLastOfTwoVersionsWin) {
  version(3, "v", Dictionary{{"fileName", "first"}});
  version(9, "v", Dictionary{{"fileName", "last"}});
  EXPECT_EQ(photo("v")["FileName"], Value("last"));
}

TEST_F(PhotoRecordsTest, knowsNoPhotoOfAnUnknownUuid) {
  version(3, Value());
  EXPECT_TRUE(photo("nobody").isNil());
  EXPECT_TRUE(photo(Value()).isNil());
  opened->nextCommand();
  version(5, "29");
  EXPECT_EQ(photo(29)["PhotoKey"], Value("29"));
}

TEST_F(PhotoRecordsTest, continuesWhenTheDatabaseOfASinglePhotoCannotBeOpened) {
  files.remove(DatabaseFile::Library);
  open();
  SystemLogCapture log;
  EXPECT_TRUE(photo("v").isNil());
  EXPECT_TRUE(
      log.contains("could not prepare query 'SELECT modelId,exifLatitude,exifLongitude,"
                   "videoPosterFramePoint,fileName,rotation FROM RKVersion WHERE uuid = 'v''"));
  // It was closed nevertheless, so the next opening is a first one.
  EXPECT_EQ(opened->databases.databaseOpenCount(), 0);
  EXPECT_TRUE(photosIn("p").isNil());
}

TEST(RepairCoordinates, keepsWhatMayBeAnAngle) {
  for (const auto& [latitude, longitude] :
       {std::pair(45.0, 200.0), std::pair(100.0, 50.0), std::pair(-360.0, 360.0), std::pair(0.0, 1e-9)}) {
    Dictionary photo = mutableDictionary({{"latitude", latitude}, {"longitude", longitude}});
    SystemLogCapture log;
    PhotoRecords::repairCoordinatesOf(photo);
    EXPECT_EQ(photo.size(), 2U);
    EXPECT_THAT(log.lines(), IsEmpty());
  }
}

TEST(RepairCoordinates, removesTheOriginSilently) {
  for (const Value& zero : {Value(0.0), Value(-0.0), Value(0)}) {
    Dictionary photo = mutableDictionary({{"PhotoKey", "v"}, {"latitude", zero}, {"longitude", 0.0}});
    SystemLogCapture log;
    PhotoRecords::repairCoordinatesOf(photo);
    EXPECT_THAT(keysOf(photo), ElementsAre("PhotoKey"));
    EXPECT_THAT(log.lines(), IsEmpty());
  }
}

TEST(RepairCoordinates, removesAndLogsWhatIsOutOfRange) {
  const auto repaired = [](Value latitude, Value longitude) {
    Dictionary photo = mutableDictionary({{"latitude", latitude}, {"longitude", longitude}});
    SystemLogCapture log;
    PhotoRecords::repairCoordinatesOf(photo);
    EXPECT_TRUE(photo.empty());
    return log.lines();
  };
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  EXPECT_THAT(repaired(400.0, 10.0), ElementsAre("found strange coordinates: 400.000000 / 10.000000"));
  EXPECT_THAT(repaired(10.0, -360.5), ElementsAre("found strange coordinates: 10.000000 / -360.500000"));
  EXPECT_THAT(repaired(kNaN, 10.0), ElementsAre("found strange coordinates: nan / 10.000000"));
  EXPECT_THAT(repaired(0.0, kNaN), ElementsAre("found strange coordinates: 0.000000 / nan"));
}

TEST(RepairCoordinates, takesAnAbsentCoordinateForZero) {
  Dictionary kept = mutableDictionary({{"longitude", 10.0}});
  PhotoRecords::repairCoordinatesOf(kept);
  EXPECT_TRUE(kept.contains("longitude"));
  Dictionary removed = mutableDictionary({{"latitude", 0.0}});
  PhotoRecords::repairCoordinatesOf(removed);
  EXPECT_TRUE(removed.empty());
}

TEST(RepairCoordinates, leavesADictionaryWithoutCoordinatesUntouched) {
  Dictionary photo = mutableDictionary({{"PhotoKey", "v"}});
  SystemLogCapture log;
  PhotoRecords::repairCoordinatesOf(photo);
  EXPECT_EQ(photo.size(), 1U);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(RepairCoordinates, logsALatitudeThatIsNoNumberAndContinues) {
  Dictionary text = mutableDictionary({{"latitude", "45.5"}, {"longitude", 10.0}});
  SystemLogCapture log;
  PhotoRecords::repairCoordinatesOf(text);
  EXPECT_EQ(text["latitude"], Value("45.5"));
  EXPECT_THAT(log.lines(), ElementsAre("strange number: 45.5"));
}

}  // namespace
}  // namespace moxtel
