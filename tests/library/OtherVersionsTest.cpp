// Libraries of other versions of the photo application: columns and tables that are missing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>

#include "library/ContainerTree.h"
#include "library/Faces.h"
#include "library/ImageFiles.h"
#include "library/LibrarySummary.h"
#include "library/PhotoRecords.h"
#include "library/albumdata/AlbumEntries.h"
#include "platform/system/SystemLog.h"
#include "tests/fakes/RecordingPhotoApplication.h"
#include "tests/library/ServedLibrary.h"

namespace moxtel::test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

struct MissingColumn {
  DatabaseFile file;
  const char* table;
  const char* column;
};

struct NoAlbumData final : AlbumEntries {
  const Value& containerDict(std::string_view) const override {
    static const Value kNothing;
    return kNothing;
  }
};

// Everything that is listed, and the paths of the pictures.
class Listed {
 public:
  explicit Listed(const std::string& folder) : served(folder) {}

  Value lists() {
    Array all;
    for (const char* parent : {"TopLevelAlbums", "AllProjectsItem"}) {
      all.append(tree.containersInParentUuid(parent));
    }
    for (const char* container : {"allPhotosAlbum", "event", "album"}) {
      all.append(records.photosInContainer(container));
    }
    for (const char* photo : {"one", "two"}) all.append(records.photoDictWithVersionId(photo));
    all.append(faces.facesAlbums());
    all.append(faces.photosForFaceID("Ann"));
    return all;
  }
  std::vector<std::optional<std::string>> paths() {
    return {images.thumbnailPathWithUuid("one", false, false),
            images.thumbnailPathWithUuid("one", true, true), images.pathNameOfImageWithUuid("one")};
  }

  ServedLibrary served;
  RecordingPhotoApplication application;
  NoAlbumData albumData;
  ContainerTree tree{served.databases, application, served.defaults};
  PhotoRecords records{served.databases, albumData, application};
  Faces faces{served.databases};
  ImageFiles images{served.location, served.databases, faces, served.files};
};

// The columns in question are NULL.
void fill(TestLibrary& files) {
  files.insert("RKFolder", Dictionary{{"uuid", "event"},
                                      {"name", "Event"},
                                      {"folderType", 2},
                                      {"isInTrash", 0},
                                      {"parentFolderUuid", "AllProjectsItem"}});
  files.insert("RKAlbum", Dictionary{{"uuid", "album"},
                                     {"modelId", 5},
                                     {"name", "Album"},
                                     {"albumType", 1},
                                     {"albumSubclass", 3},
                                     {"versionCount", 7},
                                     {"isInTrash", 0},
                                     {"folderUuid", "TopLevelAlbums"}});
  for (const auto& [id, uuid] : {std::pair(1, "one"), std::pair(2, "two")}) {
    files.insert("RKVersion", Dictionary{{"modelId", id},
                                         {"uuid", uuid},
                                         {"masterUuid", "m"},
                                         {"projectUuid", "event"},
                                         {"versionNumber", 1},
                                         {"isInTrash", 0},
                                         {"fileName", "a.jpg"},
                                         {"rotation", 90}});
    files.insert("RKAlbumVersion", Dictionary{{"albumId", 5}, {"versionId", id}});
    files.insert("RKImageProxyState", Dictionary{{"versionUuid", uuid},
                                                 {"versionId", id},
                                                 {"thumbnailPath", "t.jpg"},
                                                 {"miniThumbnailPath", "s.jpg"}});
  }
  files.insert("RKMaster", Dictionary{{"uuid", "m"}, {"imagePath", "a.jpg"}});
  files.insert("RKFaceName", Dictionary{{"uuid", "Ann"}, {"faceKey", 3}, {"keyVersionUuid", "one"}});
  files.insert("RKDetectedFace", Dictionary{{"faceKey", 3}, {"masterUuid", "m"}, {"faceIndex", 1}});
}

class OtherVersionsTest : public testing::TestWithParam<MissingColumn> {};

TEST_P(OtherVersionsTest, readsAMissingColumnAsNull) {
  TestLibrary files;
  fill(files);
  Value expected;
  std::vector<std::optional<std::string>> paths;
  {
    Listed whole(files.path());
    expected = whole.lists();
    paths = whole.paths();
  }
  EXPECT_EQ(expected.array()[3].array().size(), 2U);
  const auto& [file, table, column] = GetParam();
  files.execute(file, "ALTER TABLE " + std::string(table) + " DROP COLUMN " + column);
  const auto before = stateOf(files.path());
  Listed older(files.path());
  // A list that is built after a failure is not cached.
  older.tree.getTopLevelAlbums();
  older.tree.getTopLevelProjects();
  older.faces.facesAlbums();
  EXPECT_FALSE(older.served.databases.sawFailure());
  EXPECT_EQ(older.lists(), expected);
  EXPECT_EQ(older.paths(), paths);
  EXPECT_THAT(older.served.log.lines(), Not(Contains(HasSubstr("could not"))));
  older.served.databases.releaseLocks();
  EXPECT_EQ(older.served.messages.count("Error", ""), 0);
  EXPECT_EQ(stateOf(files.path()), before);
}

constexpr MissingColumn kColumns[] = {{DatabaseFile::Library, "RKFolder", "isHiddenWhenEmpty"},
                                      {DatabaseFile::Library, "RKFolder", "posterVersionUuid"},
                                      {DatabaseFile::Library, "RKAlbum", "posterVersionUuid"},
                                      {DatabaseFile::Library, "RKVersion", "exifLatitude"},
                                      {DatabaseFile::Library, "RKVersion", "exifLongitude"},
                                      {DatabaseFile::Library, "RKVersion", "videoPosterFramePoint"},
                                      {DatabaseFile::ImageProxies, "RKImageProxyState", "faceTilePath"}};
INSTANTIATE_TEST_SUITE_P(Columns, OtherVersionsTest, testing::ValuesIn(kColumns),
                         [](const auto& each) { return std::string(each.param.table) + each.param.column; });

TEST(OtherVersions, readsAllOfThemAsNullTogether) {
  TestLibrary files;
  fill(files);
  const Value expected = Listed(files.path()).lists();
  for (const auto& [file, table, column] : kColumns) {
    files.execute(file, "ALTER TABLE " + std::string(table) + " DROP COLUMN " + column);
  }
  EXPECT_EQ(Listed(files.path()).lists(), expected);
}

// The photo application has converted the library meanwhile.
TEST(OtherVersions, noticesAColumnThatIsAddedLater) {
  TestLibrary files;
  fill(files);
  files.execute(DatabaseFile::Library, "ALTER TABLE RKVersion DROP COLUMN exifLatitude");
  Listed listed(files.path());
  EXPECT_TRUE(listed.records.photoDictWithVersionId("one")["latitude"].isNil());
  listed.served.databases.releaseLocks();
  files.execute(DatabaseFile::Library, "ALTER TABLE RKVersion ADD COLUMN exifLatitude decimal DEFAULT 48.5");
  EXPECT_EQ(listed.records.photoDictWithVersionId("one")["latitude"], Value(48.5));
}

// A busy database is adapted when it can be read.
TEST(OtherVersions, adaptsADatabaseThatWasBusyAtFirst) {
  TestLibrary files;
  fill(files);
  files.execute(DatabaseFile::Library, "ALTER TABLE RKVersion DROP COLUMN exifLatitude");
  Listed listed(files.path());
  OtherProcess writer(files.pathOf(DatabaseFile::Library));
  ASSERT_EQ(writer.execute("BEGIN EXCLUSIVE"), SQLITE_OK);
  EXPECT_TRUE(listed.records.photosInContainer("allPhotosAlbum").array().empty());
  listed.served.databases.releaseLocks();
  EXPECT_EQ(listed.served.messages.count("Error", "Library.apdb"), 0);
  ASSERT_EQ(writer.execute("ROLLBACK"), SQLITE_OK);
  listed.served.databases.beginCommand();
  EXPECT_EQ(listed.records.photosInContainer("allPhotosAlbum").array().size(), 2U);
}

TEST(OtherVersions, allowsNoMoreThanBeforeOnAnAdaptedConnection) {
  TestLibrary files;
  files.execute(DatabaseFile::Library, "ALTER TABLE RKVersion DROP COLUMN exifLatitude");
  ServedLibrary served(files.path());
  EXPECT_TRUE(
      served.databases.runUnlogged(DatabaseFile::Library, "SELECT uuid FROM RKVersion", {}).prepared());
  EXPECT_FALSE(
      served.databases.runUnlogged(DatabaseFile::Library, "CREATE TEMP VIEW v AS SELECT 1", {}).prepared());
  EXPECT_FALSE(
      served.databases.runUnlogged(DatabaseFile::Library, "SELECT hex(uuid) FROM RKVersion", {}).prepared());
}

class DatabaseProblemsTest : public testing::Test {
 protected:
  void read() {
    served.databases.beginCommand();
    served.number(DatabaseFile::Library, "SELECT COUNT(uuid) FROM RKVersion");
    served.number(DatabaseFile::Faces, "SELECT COUNT(uuid) FROM RKFaceName");
    served.databases.releaseLocks();
  }
  std::vector<std::string> said(std::string_view title) const {
    std::vector<std::string> texts;
    for (const auto& [its, text] : served.messages.lines) {
      if (its == title) texts.push_back(text);
    }
    return texts;
  }

  TestLibrary files;
  std::string path = files.pathOf(DatabaseFile::Library);
  ServedLibrary served{files.path()};
};

TEST_F(DatabaseProblemsTest, saysNothingAboutAGoodLibrary) {
  read();
  EXPECT_TRUE(served.messages.lines.empty());
}

TEST_F(DatabaseProblemsTest, saysOnceThatALibraryIsAwayAndThatItIsBack) {
  read();
  std::filesystem::rename(files.path(), files.path() + "-away");
  read();
  read();
  EXPECT_THAT(said("Error"), testing::ElementsAre(HasSubstr("The database '" + path + "' is not there")));
  std::filesystem::rename(files.path() + "-away", files.path());
  read();
  read();
  EXPECT_THAT(said("Info"), testing::ElementsAre("The database '" + path + "' can be read again."));
  EXPECT_EQ(said("Error").size(), 1U);
}

TEST_F(DatabaseProblemsTest, leavesALibraryThatWasNeverThereToTheLoading) {
  std::filesystem::rename(files.path(), files.path() + "-away");
  read();
  EXPECT_TRUE(served.messages.lines.empty());
  std::filesystem::rename(files.path() + "-away", files.path());
  read();
  EXPECT_THAT(said("Info"), testing::ElementsAre("The database '" + path + "' can be read again."));
}

TEST_F(DatabaseProblemsTest, namesOneFileThatIsMissing) {
  files.remove(DatabaseFile::Faces);
  read();
  read();
  EXPECT_THAT(said("Error"), testing::ElementsAre(HasSubstr("Faces.db' is not there")));
}

TEST_F(DatabaseProblemsTest, namesADamagedDatabaseOnce) {
  files.overwrite(DatabaseFile::Library, std::string(100'000, 'x'));
  read();
  read();
  EXPECT_THAT(said("Error"), testing::ElementsAre(HasSubstr("' is damaged: file is not a database. ")));
  EXPECT_EQ(served.databases.problemOf(DatabaseFile::Library).kind, DatabaseProblem::Kind::Damaged);
  served.databases.beginCommand();
  (void)served.databases.openDatabase();
  served.databases.closeDatabase();
  served.databases.releaseLocks();
  EXPECT_EQ(served.databases.problemOf(DatabaseFile::Library).kind, DatabaseProblem::Kind::Damaged);
  EXPECT_EQ(said("Info").size(), 0U);
}

TEST_F(DatabaseProblemsTest, namesADatabaseWithoutTablesOnce) {
  files.overwrite(DatabaseFile::Library, "");
  read();
  read();
  EXPECT_THAT(said("Error"), testing::ElementsAre(HasSubstr("' has none of the tables that ")));
}

TEST_F(DatabaseProblemsTest, servesNothingOfALibraryOfPhotos1) {
  files.insert(
      "RKAlbum",
      Dictionary{{"uuid", "a"}, {"albumType", 1}, {"albumSubclass", 3}, {"isInTrash", 0}, {"isMagic", 0}});
  files.execute(DatabaseFile::Library, "ALTER TABLE RKVersion RENAME COLUMN projectUuid TO momentUuid");
  read();
  read();
  EXPECT_THAT(said("Error"),
              testing::ElementsAre("The database '" + path +
                                   "' is one of Photos 1, whose libraries are not served. Open the library "
                                   "once with a later version, which converts it."));
  EXPECT_EQ(countLibrary(served.databases).albums, 0);
}

TEST_F(DatabaseProblemsTest, listsNoFacesOfALibraryOfPhotos1) {
  files.insert("RKFaceName", Dictionary{{"uuid", "f"}, {"name", "Ann"}, {"faceKey", 1}});
  files.execute(DatabaseFile::Library, "ALTER TABLE RKVersion RENAME COLUMN projectUuid TO momentUuid");
  EXPECT_EQ(countLibrary(served.databases).faces, std::nullopt);
  served.loop.advance(std::chrono::seconds(6));
  served.databases.beginCommand();
  EXPECT_FALSE(served.databases.run(DatabaseFile::Faces, "SELECT uuid FROM RKFaceName", {}).step());
}

// The advice to start iPhoto would be the first thing that a user reads.
TEST(OlderAperture, getsNoAdviceForIPhoto) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder.path() / "Aperture.aplib");
  std::ofstream(folder.path() / "Aperture.aplib" / "Library.apdb") << "x";
  const ServedLibrary served(folder.path().string());
  EXPECT_TRUE(served.messages.lines.empty());
  EXPECT_TRUE(served.library.runStandalone());
}

TEST_F(DatabaseProblemsTest, namesMissingTablesAndColumnsOnce) {
  files.execute(DatabaseFile::Library,
                "DROP TABLE RKNote; ALTER TABLE RKFolder RENAME COLUMN minImageDate TO other");
  read();
  read();
  EXPECT_THAT(said("Error"), testing::ElementsAre(
                                 "The database '" + path +
                                 "' lacks what the server reads: column RKFolder.minImageDate, table RKNote. "
                                 "Lists from there are empty."));
}

TEST_F(DatabaseProblemsTest, saysEverythingAgainAboutAnotherLibrary) {
  const TestLibrary other("Other");
  files.overwrite(DatabaseFile::Library, "");
  std::filesystem::resize_file(other.pathOf(DatabaseFile::Library), 0);
  read();
  served.defaults.setString("LibraryPath", other.path());
  served.library.loadDatabase();
  read();
  EXPECT_EQ(said("Error").size(), 2U);
}

}  // namespace
}  // namespace moxtel::test
