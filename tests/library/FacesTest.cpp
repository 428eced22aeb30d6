#include "library/Faces.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "platform/system/SystemLog.h"
#include "tests/library/TestLibrary.h"
#include "value/Description.h"

namespace moxtel {
namespace {

using test::keysOf;
using test::OpenedLibrary;
using test::TestLibrary;
using test::valuesOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class FacesTest : public testing::Test {
 protected:
  void person(Value uuid, std::int64_t faceKey, Value keyVersion = Value()) {
    files.insert(
        "RKFaceName",
        Dictionary{{"uuid", uuid}, {"name", uuid}, {"faceKey", faceKey}, {"keyVersionUuid", keyVersion}});
  }
  void detected(std::int64_t faceKey, Value master, Value index = 0) {
    files.insert("RKDetectedFace",
                 Dictionary{{"faceKey", faceKey}, {"masterUuid", master}, {"faceIndex", index}});
  }
  void version(Value uuid, const char* master, Value number = 1) {
    files.insert("RKVersion", Dictionary{{"uuid", uuid}, {"masterUuid", master}, {"versionNumber", number}});
  }
  Faces& faces() {
    if (!faces_) {
      opened.emplace(files);
      faces_.emplace(opened->databases);
    }
    return *faces_;
  }

  TestLibrary files;
  std::optional<OpenedLibrary> opened;

 private:
  std::optional<Faces> faces_;
};

TEST_F(FacesTest, presentsAPersonAsAnAlbum) {
  person("ann", 5, "v1");
  version("v1", "m1");
  version("v2", "m2");
  detected(5, "m1", 3);
  detected(5, "m2");
  detected(6, "m2", 9);
  const Value albums = faces().facesAlbums();
  ASSERT_EQ(albums.array().size(), 1U);
  EXPECT_EQ(albums.array()[0], Value(Dictionary{{"AlbumType", "Face"},
                                                {"AlbumId", "ann"},
                                                {"AlbumName", "ann"},
                                                {"KeyPhotoKey", "v1"},
                                                {"FaceKey", 5},
                                                {"MasterKey", "m1"},
                                                {"FaceIndex", 3},
                                                {"PhotoCount", 2}}));
}

TEST_F(FacesTest, keepsAnImmutableArrayOfMutableDictionaries) {
  person("ann", 5);
  const Value albums = faces().facesAlbums();
  EXPECT_FALSE(albums.array().isMutable());
  EXPECT_TRUE(albums.array()[0].dictionary().isMutable());
}

TEST_F(FacesTest, servesTheListUnchangedUntilItIsDropped) {
  person("ann", 5);
  EXPECT_EQ(faces().facesAlbums().array().size(), 1U);
  opened->nextCommand();
  person("bob", 6);
  for (const DatabaseFile file : {DatabaseFile::Faces, DatabaseFile::Library}) {
    std::filesystem::rename(files.pathOf(file), files.pathOf(file) + ".away");
  }
  SystemLogCapture log;
  EXPECT_EQ(faces().facesAlbums().array().size(), 1U);
  EXPECT_THAT(log.lines(), IsEmpty());
  for (const DatabaseFile file : {DatabaseFile::Faces, DatabaseFile::Library}) {
    std::filesystem::rename(files.pathOf(file) + ".away", files.pathOf(file));
  }
  faces().dropCaches();
  EXPECT_EQ(faces().facesAlbums().array().size(), 2U);
}

TEST_F(FacesTest, keepsAnEmptyListOfALibraryWithoutFaces) {
  EXPECT_TRUE(faces().facesAlbums().isArray());
  opened->nextCommand();
  person("ann", 5);
  EXPECT_TRUE(faces().facesAlbums().array().empty());
}

TEST_F(FacesTest, countsAMasterOnceForEveryDetection) {
  person("ann", 5);
  for (const char* master : {"m1", "m2", "m3"}) version(master, master);
  for (const char* master : {"m1", "m2", "m3"}) detected(5, master);
  EXPECT_EQ(faces().photoCountForFaceID("ann"), 3);
  opened->nextCommand();
  detected(5, "m1", 1);
  EXPECT_EQ(faces().photoCountForFaceID("ann"), 4);
  EXPECT_EQ(faces().masterUuidsForFaceID("ann").size(), 4U);
  EXPECT_THAT(valuesOf(faces().photosForFaceID("ann"), "PhotoKey"),
              testing::UnorderedElementsAre(Value("m1"), Value("m1"), Value("m2"), Value("m3")));
}

// Each detection lists all versions of its master.
TEST_F(FacesTest, rejectsAListThatIsTooLarge) {
  person("ann", 5);
  for (int i = 0; i < 30; ++i) detected(5, "m", i);
  for (int i = 0; i < 30; ++i) version("v" + std::to_string(i), "m");
  OpenedLibrary library(files);
  EXPECT_EQ(Faces(library.databases, 200'000).photosForFaceID("ann").array().size(), 900U);
  EXPECT_THROW(Faces(library.databases, 60'000).photosForFaceID("ann"), ArchiveTooLargeError);
}

TEST_F(FacesTest, countsFirstVersionsOnly) {
  person("ann", 5);
  detected(5, "m");
  version("original", "m", 0);
  version("first", "m", 1);
  version("second", "m", 2);
  version("odd", "m", Value());
  EXPECT_EQ(faces().photoCountForFaceID("ann"), 1);
  EXPECT_THAT(valuesOf(faces().photosForFaceID("ann"), "PhotoKey"), ElementsAre(Value("first")));
}

TEST_F(FacesTest, countsDetectionsOfAllNamesWithOneUuid) {
  person("ann", 5);
  person("ann", 6);
  detected(5, "m1");
  detected(6, "m2");
  version("v1", "m1");
  version("v2", "m2");
  EXPECT_EQ(faces().photoCountForFaceID("ann"), 2);
}

// Names that share a key or a uuid, texts that no query can contain, and values that are not texts.
TEST_F(FacesTest, countsAllFacesAsItCountsEachAlone) {
  const std::vector<std::string> names = {
      "'ann'", "'bob'", "'it''s'", "''", "NULL", "'(null)'", "7", "x'616e6e'", "'a' || char(0) || 'b'",
      "'a'",   "x'ff'"};
  const std::vector<std::string> keys = {"1", "2", "3", "'3'", "2.5", "'x'", "NULL", "x'31'"};
  const std::vector<std::string> masters = {"'m1'", "'m2'",    "'m3'",          "''",
                                            "NULL", "x'6d31'", "'m' || char(0)"};
  for (unsigned seed = 1; seed <= 40; ++seed) {
    std::mt19937 random(seed);
    const auto oneOf = [&random](const std::vector<std::string>& values) {
      return values[random() % values.size()];
    };
    files.execute(DatabaseFile::Faces, "DELETE FROM RKFaceName; DELETE FROM RKDetectedFace");
    files.execute(DatabaseFile::Library, "DELETE FROM RKVersion");
    for (int i = 0; i < 12; ++i) {
      files.execute(DatabaseFile::Faces,
                    "INSERT INTO RKFaceName(uuid,faceKey) VALUES(" + oneOf(names) + "," + oneOf(keys) + ")");
    }
    for (int i = 0; i < 40; ++i) {
      const std::string master = seed % 10 == 0 && i == 20 ? "'m''1'" : oneOf(masters);
      files.execute(DatabaseFile::Faces, "INSERT INTO RKDetectedFace(faceKey,masterUuid) VALUES(" +
                                             oneOf(keys) + "," + master + ")");
      files.execute(DatabaseFile::Library, "INSERT INTO RKVersion(uuid,masterUuid,versionNumber) VALUES(" +
                                               oneOf(names) + "," + oneOf(masters) + "," +
                                               oneOf({"0", "1", "1.0", "2", "NULL"}) + ")");
    }
    OpenedLibrary served(files);
    Faces all(served.databases);
    const Value albums = all.facesAlbums();
    ASSERT_EQ(albums.array().size(), 12U);
    for (const Value& face : albums.array()) {
      EXPECT_EQ(face["PhotoCount"].intValue(), all.photoCountForFaceID(face["AlbumId"]))
          << "seed " << seed << ", face " << describe(face);
    }
  }
}

TEST_F(FacesTest, logsEveryMasterThatNoQueryCanHold) {
  person("ann", 5);
  person("bob", 6);
  detected(5, "it's");
  detected(5, "m1");
  detected(6, "it's");
  version("v1", "m1");
  Faces& asked = faces();
  SystemLogCapture log;
  EXPECT_THAT(valuesOf(asked.facesAlbums(), "PhotoCount"), ElementsAre(1, 0));
  const std::string line =
      "could not prepare query 'SELECT COUNT(uuid) FROM RKVersion WHERE masterUuid = 'it's' AND "
      "versionNumber = 1'";
  EXPECT_THAT(log.lines(), ElementsAre(line, line));
}

TEST_F(FacesTest, hasNothingForAnUnknownFace) {
  detected(5, "m");
  version("v", "m");
  for (const Value& face : {Value("nobody"), Value(), Value(5), Value("' OR 1=1 --")}) {
    EXPECT_TRUE(faces().masterUuidsForFaceID(face).empty());
    EXPECT_EQ(faces().photoCountForFaceID(face), 0);
    EXPECT_TRUE(faces().photosForFaceID(face).isArray());
    EXPECT_TRUE(faces().photosForFaceID(face).array().empty());
  }
}

TEST_F(FacesTest, findsNoMasterOfAMissingKeyVersion) {
  person("ann", 5, "gone");
  detected(5, "m", 4);
  const Value album = faces().facesAlbums().array()[0];
  EXPECT_FALSE(album.dictionary().contains("MasterKey"));
  EXPECT_EQ(album["FaceIndex"], Value(0));
}

TEST_F(FacesTest, leavesOutWhatIsNull) {
  files.insert("RKFaceName", Dictionary());
  detected(0, Value());
  EXPECT_THAT(keysOf(faces().facesAlbums().array()[0]),
              ElementsAre("AlbumType", "FaceKey", "FaceIndex", "PhotoCount"));
}

TEST_F(FacesTest, listsPhotosWithThreeKeys) {
  person("ann", 5);
  detected(5, "m");
  files.insert("RKVersion", Dictionary{{"uuid", "movie"},
                                       {"masterUuid", "m"},
                                       {"versionNumber", 1},
                                       {"isInTrash", 1},
                                       {"videoPosterFramePoint", "1"},
                                       {"exifLatitude", 2.0}});
  version(Value(), "m");
  const Value photos = faces().photosForFaceID("ann");
  EXPECT_EQ(
      photos,
      Value(Array{Value(Dictionary{{"PhotoKey", "movie"}, {"MediaType", "Image"}, {"FoundBy", "SQL"}})}));
  EXPECT_TRUE(photos.array().isMutable());
  EXPECT_TRUE(photos.array()[0].dictionary().isMutable());
}

TEST_F(FacesTest, answersEmptyListsWithoutFacesDB) {
  person("ann", 5);
  detected(5, "m");
  version("v", "m");
  const std::string path = files.pathOf(DatabaseFile::Faces);
  std::filesystem::rename(path, path + ".away");
  const Value none = faces().facesAlbums();
  EXPECT_TRUE(none.isArray());
  EXPECT_TRUE(none.array().empty());
  EXPECT_TRUE(faces().masterUuidsForFaceID("ann").empty());
  EXPECT_EQ(faces().photoCountForFaceID("ann"), 0);
  EXPECT_TRUE(faces().photosForFaceID("ann").isArray());
  std::filesystem::rename(path + ".away", path);
  opened->nextCommand();
  EXPECT_EQ(faces().facesAlbums().array().size(), 1U);
  EXPECT_EQ(faces().photoCountForFaceID("ann"), 1);
}

TEST_F(FacesTest, continuesWithoutTheLibraryDatabaseAndCachesNothing) {
  person("ann", 5, "v");
  detected(5, "m");
  version("v", "m");
  const std::string path = files.pathOf(DatabaseFile::Library);
  faces();
  std::filesystem::rename(path, path + ".away");
  SystemLogCapture log;
  const Value album = faces().facesAlbums().array()[0];
  EXPECT_THAT(keysOf(album), ElementsAre("AlbumType", "AlbumId", "AlbumName", "KeyPhotoKey", "FaceKey",
                                         "FaceIndex", "PhotoCount"));
  EXPECT_EQ(album["PhotoCount"], Value(0));
  EXPECT_TRUE(log.contains("could not prepare query 'SELECT masterUuid FROM RKVersion WHERE uuid = 'v''"));
  std::filesystem::rename(path + ".away", path);
  opened->nextCommand();
  EXPECT_EQ(faces().facesAlbums().array()[0]["PhotoCount"], Value(1));
  EXPECT_TRUE(faces().photosForFaceID("ann").isArray());
}

TEST_F(FacesTest, answersNothingFromAMissingLibraryDatabase) {
  person("ann", 5);
  detected(5, "m");
  files.remove(DatabaseFile::Library);
  EXPECT_EQ(faces().photoCountForFaceID("ann"), 0);
  const Value photos = faces().photosForFaceID("ann");
  EXPECT_TRUE(photos.isArray());
  EXPECT_TRUE(photos.array().empty());
}

TEST_F(FacesTest, logsTheResultOfAListQueryThatCannotBePrepared) {
  files.execute(DatabaseFile::Faces, "DROP TABLE RKFaceName");
  faces();
  SystemLogCapture log;
  EXPECT_TRUE(faces().facesAlbums().array().empty());
  EXPECT_THAT(log.lines(), ElementsAre("could not prepare query 'SELECT uuid,name,keyVersionUuid,faceKey "
                                       "FROM RKFaceName', result: 1"));
}

TEST_F(FacesTest, logsTheResultOfAnIndexQueryThatCannotBePrepared) {
  person("ann", 5);
  files.execute(DatabaseFile::Faces, "DROP TABLE RKDetectedFace");
  faces();
  SystemLogCapture log;
  testing::internal::CaptureStdout();
  EXPECT_EQ(faces().facesAlbums().array()[0]["FaceIndex"], Value(0));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "SQL error: no such table: RKDetectedFace\n");
  EXPECT_THAT(log.lines(), Contains("could not prepare query 'SELECT faceIndex FROM RKDetectedFace WHERE "
                                    "faceKey = 5 AND masterUuid = '(null)'', result: 1"));
  EXPECT_THAT(log.lines(),
              Contains("could not prepare query 'SELECT masterUuid FROM RKDetectedFace WHERE faceKey IN "
                       "(SELECT faceKey FROM RKFaceName WHERE uuid = 'ann')'"));
}

TEST_F(FacesTest, printsTheErrorOfAMasterQueryThatCannotBePrepared) {
  files.execute(DatabaseFile::Faces, "DROP TABLE RKDetectedFace");
  faces();
  SystemLogCapture log;
  testing::internal::CaptureStdout();
  faces().photosForFaceID("ann");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "SQL error: no such table: RKDetectedFace\n");
  EXPECT_THAT(log.lines(),
              ElementsAre("could not prepare query 'SELECT masterUuid FROM RKDetectedFace WHERE faceKey IN "
                          "(SELECT faceKey FROM RKFaceName WHERE uuid = 'ann')'"));
}

TEST_F(FacesTest, closesWhatItOpened) {
  person("ann", 5, "v");
  detected(5, "m");
  faces().facesAlbums();
  faces().photosForFaceID("ann");
  EXPECT_EQ(opened->databases.databaseOpenCount(), 0);
}

}  // namespace
}  // namespace moxtel
