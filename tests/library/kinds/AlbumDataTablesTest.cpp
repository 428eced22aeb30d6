#include "library/kinds/AlbumDataTables.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <fstream>

#include "library/kinds/AlbumDataDatabase.h"
#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The rows of a query on a database in memory, each as its columns with a bar between them.
std::vector<std::string> rowsOf(const std::vector<std::uint8_t>& bytes, const char* sql) {
  sqlite3* database = nullptr;
  EXPECT_EQ(sqlite3_open(":memory:", &database), SQLITE_OK);
  EXPECT_EQ(sqlite3_deserialize(database, "main", const_cast<unsigned char*>(bytes.data()),
                                static_cast<sqlite3_int64>(bytes.size()),
                                static_cast<sqlite3_int64>(bytes.size()), SQLITE_DESERIALIZE_READONLY),
            SQLITE_OK);
  std::vector<std::string> rows;
  const auto take = [](void* to, int count, char** values, char**) {
    std::string row;
    for (int i = 0; i < count; ++i) row += (i == 0 ? "" : "|") + std::string(values[i] ? values[i] : "NULL");
    static_cast<std::vector<std::string>*>(to)->push_back(row);
    return 0;
  };
  EXPECT_EQ(sqlite3_exec(database, sql, take, &rows, nullptr), SQLITE_OK) << sqlite3_errmsg(database);
  sqlite3_close(database);
  return rows;
}

Value image(const char* path) { return Dictionary{{"ImagePath", path}, {"MediaType", "Image"}}; }

std::vector<std::string> masterPathsWith(const char* archivePath, const char* path) {
  AlbumDataTables tables;
  tables.take("Archive Path", "", archivePath);
  tables.take("Master Image List", "1", image(path));
  return rowsOf(tables.finish(), "SELECT imagePath, fileIsReference FROM RKMaster");
}

TEST(AlbumDataTables, takesPathsBelowTheArchivePath) {
  EXPECT_THAT(masterPathsWith("/Users/a/iPhoto Library", "/Users/a/iPhoto Library/Originals/1.jpg"),
              ElementsAre("Originals/1.jpg|0"));
  EXPECT_THAT(masterPathsWith("/Users/a/iPhoto Library/", "/Users/a//iPhoto Library/1.jpg"),
              ElementsAre("1.jpg|0"));
}

TEST(AlbumDataTables, keepsPathsOutsideTheArchivePath) {
  EXPECT_THAT(masterPathsWith("/Users/a/Library", "/Volumes/Disk/1.jpg"),
              ElementsAre("/Volumes/Disk/1.jpg|1"));
  EXPECT_THAT(masterPathsWith("/Users/a/Library", "/Users/a/Library 2/1.jpg"),
              ElementsAre("/Users/a/Library 2/1.jpg|1"));
  EXPECT_THAT(masterPathsWith("/Users/a/Library", "/Users/a/Library"), ElementsAre("/Users/a/Library|1"));
}

TEST(AlbumDataTables, comparesDecomposedPathsAsComposedOnes) {
  EXPECT_THAT(masterPathsWith("/Users/Jo\u0308rg/Bilder", "/Users/J\u00F6rg/Bilder/1.jpg"),
              ElementsAre("1.jpg|0"));
  EXPECT_THAT(masterPathsWith("/Users/J\u00F6rg/Bilder", "/Users/Jo\u0308rg/Bilder/u\u0308.jpg"),
              ElementsAre("u\u0308.jpg|0"));
}

TEST(AlbumDataTables, namesRollsByTheirUuidOrElseTheirNumber) {
  AlbumDataTables tables;
  tables.take("Master Image List", "1", Dictionary{{"ImagePath", "/1.jpg"}, {"Roll", 7}});
  tables.take("Master Image List", "2", Dictionary{{"ImagePath", "/2.jpg"}, {"Roll", 8}});
  tables.take("Master Image List", "3", Dictionary{{"ImagePath", "/3.jpg"}});
  tables.take("List of Rolls", "", Dictionary{{"RollID", 7}, {"RollName", "Sea"}, {"ProjectUuid", "p"}});
  tables.take("List of Rolls", "", Dictionary{{"RollID", 8}, {"RollName", "Hills"}});
  const auto bytes = tables.finish();
  EXPECT_THAT(rowsOf(bytes, "SELECT uuid, name FROM RKFolder ORDER BY modelId"),
              ElementsAre("p|Sea", "event 8|Hills"));
  EXPECT_THAT(rowsOf(bytes, "SELECT modelId, projectUuid FROM RKVersion ORDER BY modelId"),
              ElementsAre("1|p", "2|event 8", "3|NULL"));
}

TEST(AlbumDataTables, doesNotMergeRollsOfWhichOneIsNamedLikeAnother) {
  AlbumDataTables tables;
  for (const auto& [key, roll] : {std::pair{"1", 7}, {"2", 8}, {"3", 9}})
    tables.take("Master Image List", key, Dictionary{{"ImagePath", "/1.jpg"}, {"Roll", roll}});
  tables.take("List of Rolls", "", Dictionary{{"RollID", 7}, {"ProjectUuid", "8"}});
  tables.take("List of Rolls", "", Dictionary{{"RollID", 8}, {"ProjectUuid", "9"}});
  const auto bytes = tables.finish();
  EXPECT_THAT(rowsOf(bytes, "SELECT modelId, projectUuid FROM RKVersion ORDER BY modelId"),
              ElementsAre("1|8", "2|9", "3|NULL"));
}

TEST(AlbumDataTables, givesRollsWithoutNumbersIdsOfTheirOwn) {
  AlbumDataTables tables;
  tables.take("List of Albums", "", Dictionary{{"AlbumId", 1}, {"Album Type", "Folder"}});
  for (const char* number : {"x", "y", "7", "07"})
    tables.take("List of Rolls", "", Dictionary{{"RollID", number}, {"ProjectUuid", number}});
  EXPECT_THAT(rowsOf(tables.finish(), "SELECT COUNT(DISTINCT modelId) FROM RKFolder"), ElementsAre("5"));
}

TEST(AlbumDataTables, doesNotMergeAlbumsOfOneNumber) {
  AlbumDataTables tables;
  tables.take("Master Image List", "1", image("/1.jpg"));
  tables.take("Master Image List", "2", image("/2.jpg"));
  for (const char* key : {"1", "2"})
    tables.take("List of Albums", "", Dictionary{{"AlbumId", 5}, {"KeyList", Array{key}}});
  EXPECT_THAT(rowsOf(tables.finish(), "SELECT albumId, versionId FROM RKAlbumVersion"), ElementsAre("5|1"));
}

TEST(AlbumDataTables, takesRollsOfIPhoto5) {
  AlbumDataTables tables;
  tables.take("Master Image List", "1", Dictionary{{"ImagePath", "/1.jpg"}, {"Roll", 7}});
  tables.take("List of Rolls", "", Dictionary{{"AlbumId", 7}, {"AlbumName", "Roll 1"}});
  const auto bytes = tables.finish();
  EXPECT_THAT(rowsOf(bytes, "SELECT modelId, uuid, name, folderType FROM RKFolder"),
              ElementsAre("7|event 7|Roll 1|2"));
  EXPECT_THAT(rowsOf(bytes, "SELECT projectUuid FROM RKVersion"), ElementsAre("event 7"));
}

TEST(AlbumDataTables, namesAlbumsByTheirGuidOrElseTheirNumber) {
  AlbumDataTables tables;
  tables.take("Master Image List", "5", Dictionary{{"ImagePath", "/1.jpg"}, {"GUID", "photo"}});
  const Value members(Array{"5", "missing"});
  tables.take("List of Albums", "", Dictionary{{"AlbumId", 1}, {"Master", true}, {"KeyList", members}});
  tables.take("List of Albums", "",
              Dictionary{{"AlbumId", 2}, {"AlbumName", "A"}, {"GUID", "g"}, {"Parent", 3}});
  tables.take("List of Albums", "", Dictionary{{"AlbumId", 3}, {"AlbumName", "F"}, {"Album Type", "Folder"}});
  tables.take("List of Albums", "",
              Dictionary{{"AlbumId", 4}, {"AlbumName", "S"}, {"Album Type", "Smart"}, {"KeyList", members}});
  const auto bytes = tables.finish();
  EXPECT_THAT(
      rowsOf(bytes,
             "SELECT uuid, name, albumSubclass, folderUuid, posterVersionUuid FROM RKAlbum ORDER BY 1"),
      ElementsAre("album 4|S|2|TopLevelAlbums|photo", "g|A|3|album 3|NULL"));
  EXPECT_THAT(rowsOf(bytes, "SELECT albumId, versionId FROM RKAlbumVersion"), ElementsAre("4|5"));
  EXPECT_THAT(rowsOf(bytes, "SELECT uuid, name FROM RKFolder"), ElementsAre("album 3|F"));
}

TEST(AlbumDataTables, givesPhotosWithoutNumbersIdsOfItsOwn) {
  AlbumDataTables tables;
  for (const char* key : {"9", "09", "-1", "x", "99999999999999999999", ""})
    tables.take("Master Image List", key, image("/1.jpg"));
  EXPECT_EQ(tables.photos(), 6U);
  const auto bytes = tables.finish();
  EXPECT_THAT(rowsOf(bytes, "SELECT COUNT(DISTINCT modelId) FROM RKVersion"), ElementsAre("6"));
  EXPECT_THAT(rowsOf(bytes, "SELECT modelId FROM RKVersion WHERE uuid = '9'"), ElementsAre("9"));
}

TEST(AlbumDataTables, takesValuesOfWrongTypesAsMissing) {
  AlbumDataTables tables;
  tables.take("Archive Path", "", 5);
  tables.take("Master Image List", "1", "text");
  tables.take("Master Image List", "2",
              Dictionary{{"ImagePath", 1}, {"Caption", Array{1}}, {"Faces", "x"}, {"latitude", "north"}});
  tables.take("List of Rolls", "", Dictionary{});
  tables.take("List of Faces", "", Dictionary{});
  const auto bytes = tables.finish();
  EXPECT_THAT(rowsOf(bytes, "SELECT modelId, name, exifLatitude FROM RKVersion"), ElementsAre("2|NULL|NULL"));
  EXPECT_THAT(rowsOf(bytes, "SELECT * FROM RKDetectedFace"), IsEmpty());
}

TEST(AlbumDataDatabase, readsAFileEntryByEntry) {
  const TemporaryFolder folder;
  const std::string file = (folder.path() / "AlbumData.xml").string();
  std::ofstream{file} << R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>
    <key>Other</key><dict><key>1</key><dict><key>ImagePath</key><string>/no.jpg</string></dict></dict>
    <key>Archive Path</key><string>/l</string>
    <key>List of Albums</key><array><dict><key>AlbumId</key><integer>2</integer>
      <key>KeyList</key><array><string>1</string></array></dict></array>
    <key>Master Image List</key><dict>
      <key>1</key><dict><key>ImagePath</key><string>/l/a.jpg</string></dict>
      <key>2</key><dict><key>ImagePath</key><string>/l/b.jpg</string></dict></dict>
    </dict></plist>)";
  const auto made = readAlbumDataDatabase(file);
  EXPECT_EQ(made->error, "");
  EXPECT_EQ(made->photos, 2U);
  EXPECT_THAT(rowsOf(made->bytes, "SELECT uuid, imagePath FROM RKMaster ORDER BY 1"),
              ElementsAre("1|a.jpg", "2|b.jpg"));
  EXPECT_THAT(rowsOf(made->bytes, "SELECT versionId FROM RKAlbumVersion"), ElementsAre("1"));
}

TEST(AlbumDataDatabase, saysWhyAFileCannotBeRead) {
  const auto made = readAlbumDataDatabase("/no/such/file");
  EXPECT_TRUE(made->bytes.empty());
  EXPECT_NE(made->error, "");
}

}  // namespace
}  // namespace moxtel
