#include "library/ImageFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>

#include "library/Faces.h"
#include "library/LibraryFiles.h"
#include "pictures/codec/Jpeg.h"
#include "pictures/codec/PictureDecoder.h"
#include "platform/system/SystemLog.h"
#include "tests/library/TestLibrary.h"

namespace moxtel {
namespace {

using test::OpenedLibrary;
using test::OtherProgram;
using test::TestLibrary;
using testing::Contains;
using testing::IsEmpty;
using testing::Not;

using Path = std::optional<std::string>;

class ImageFilesTest : public testing::Test {
 protected:
  void proxy(Value uuid, Value id, Value thumbnail, Value mini = Value(), Value face = Value(),
             Value preview = Value()) {
    library.insert("RKImageProxyState", Dictionary{{"versionUuid", uuid},
                                                   {"versionId", id},
                                                   {"thumbnailPath", thumbnail},
                                                   {"miniThumbnailPath", mini},
                                                   {"faceTilePath", face},
                                                   {"fullSizePreviewPath", preview}});
  }
  void version(Value uuid, Value master, Value hasAdjustments = 0, Value rotation = 0) {
    library.insert("RKVersion", Dictionary{{"uuid", uuid},
                                           {"masterUuid", master},
                                           {"hasAdjustments", hasAdjustments},
                                           {"rotation", rotation}});
  }
  void master(Value uuid, Value imagePath) {
    library.insert("RKMaster", Dictionary{{"uuid", uuid}, {"imagePath", imagePath}});
  }
  // A named person whose key photo is this version, as face number index of its master.
  void person(const char* keyVersion, const char* masterUuid, int faceKey, int index) {
    library.insert(
        "RKFaceName",
        Dictionary{
            {"uuid", keyVersion}, {"name", "Ann"}, {"faceKey", faceKey}, {"keyVersionUuid", keyVersion}});
    library.insert("RKDetectedFace",
                   Dictionary{{"faceKey", faceKey}, {"masterUuid", masterUuid}, {"faceIndex", index}});
  }
  void file(const std::string& name, const std::string& text = "x") {
    const std::filesystem::path path = library.path() + "/" + name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
  }
  ImageFiles& files() {
    if (!files_) {
      opened.emplace(library);
      faces.emplace(opened->databases);
      found.emplace(opened->messages, ReferencedFolders(referencedFolders));
      files_.emplace(opened->location, opened->databases, *faces, *found);
      log.emplace();
    }
    return *files_;
  }
  Path thumbnails(const char* name) const { return library.path() + "/Thumbnails/" + name; }
  Path masters(const char* name) const { return library.path() + "/Masters/" + name; }
  Path previews(const char* name) const { return library.path() + "/Previews/" + name; }

  TestLibrary library;
  std::string referencedFolders;  // before the first files()
  std::optional<OpenedLibrary> opened;
  std::optional<Faces> faces;
  std::optional<LibraryFiles> found;
  std::optional<SystemLogCapture> log;

 private:
  std::optional<ImageFiles> files_;
};

TEST_F(ImageFilesTest, joinsItsFoldersToTheLibrary) {
  EXPECT_EQ(files().masterPathBase(), library.path() + "/Masters");
  EXPECT_EQ(files().thumbnailPathBase(), library.path() + "/Thumbnails");
  EXPECT_EQ(files().previewPathBase(), library.path() + "/Previews");
}

// ---- thumbnails ----

TEST_F(ImageFilesTest, looksUpAnIdentifierWithLettersByUuid) {
  proxy("ABC-123", 7, "a_1024.jpg");
  EXPECT_EQ(files().thumbnailPathWithUuid("ABC-123", false, false), thumbnails("a_1024.jpg"));
}

TEST_F(ImageFilesTest, looksUpANumberByVersionId) {
  proxy("v", 123, "a.jpg");
  proxy("123", 9, "b.jpg");
  EXPECT_EQ(files().thumbnailPathWithUuid("123", false, false), thumbnails("a.jpg"));
}

TEST_F(ImageFilesTest, countsLettersOfEveryAlphabet) {
  proxy("12\xC3\xA9", 12, "accented.jpg");  // 12é
  proxy("v", 0, "zero.jpg");
  EXPECT_EQ(files().thumbnailPathWithUuid("12\xC3\xA9", false, false), thumbnails("accented.jpg"));
  EXPECT_EQ(files().thumbnailPathWithUuid("%+%", false, false), thumbnails("zero.jpg")) << "no number is 0";
}

TEST_F(ImageFilesTest, takesTheOffsetOffNumbersAboveIt) {
  proxy("v", 1, "one.jpg");
  EXPECT_EQ(files().thumbnailPathWithUuid("4294967297", false, false), thumbnails("one.jpg"));
  EXPECT_TRUE(log->contains("versionId '1' > IPHOTO_BASE_ID, uuid: 4294967297"));
}

TEST_F(ImageFilesTest, leavesTheOffsetItselfAsItIs) {
  proxy("v", std::int64_t{4294967296}, "base.jpg");
  proxy("w", 0, "zero.jpg");
  EXPECT_EQ(files().thumbnailPathWithUuid("4294967296", false, false), thumbnails("base.jpg"));
  EXPECT_THAT(log->lines(), IsEmpty());
}

TEST_F(ImageFilesTest, choosesTheColumnByTheSizeAskedFor) {
  proxy("v", 1, "large.jpg", "mini.jpg");
  EXPECT_EQ(files().thumbnailPathWithUuid("v", true, false), thumbnails("mini.jpg"));
  EXPECT_EQ(files().thumbnailPathWithUuid("v", false, false), thumbnails("large.jpg"));
}

TEST_F(ImageFilesTest, letsTheLastOfSeveralRowsWin) {
  proxy("v", 1, "first.jpg", Value(), "face/first");
  proxy("v", 2, "second.jpg");
  EXPECT_EQ(files().thumbnailPathWithUuid("v", false, false), thumbnails("second.jpg"));
  EXPECT_EQ(files().thumbnailPathWithUuid("v", false, true), thumbnails("second.jpg"));
  opened->nextCommand();
  proxy("v", 3, Value());
  EXPECT_EQ(files().thumbnailPathWithUuid("v", false, false), std::nullopt);
}

TEST_F(ImageFilesTest, hasNoThumbnailWithoutAnIdentifierOrARow) {
  EXPECT_EQ(files().thumbnailPathWithUuid(Value(), false, false), std::nullopt);
  EXPECT_EQ(files().thumbnailPathWithUuid("unknown", true, false), std::nullopt);
  EXPECT_THAT(log->lines(), IsEmpty());
}

TEST_F(ImageFilesTest, takesTheFaceTileOfThePersonWhoseKeyPhotoItIs) {
  proxy("v", 1, "large.jpg", "mini.jpg", "x/y");
  version("other", "m0");
  version("v", "m1");
  person("other", "m0", 4, 9);
  person("v", "m1", 5, 3);
  EXPECT_EQ(files().thumbnailPathWithUuid("v", true, true), thumbnails("x/y_face3.jpg"));
}

TEST_F(ImageFilesTest, takesTheFirstFaceTileWhenItIsNoPersonsKeyPhoto) {
  proxy("v", 1, "large.jpg", "mini.jpg", "x/100%y");
  EXPECT_EQ(files().thumbnailPathWithUuid("v", true, true), thumbnails("x/100%y_face0.jpg"));
}

TEST_F(ImageFilesTest, fallsBackToTheThumbnailWithoutAFaceTile) {
  proxy("v", 1, "large.jpg", "mini.jpg");
  EXPECT_EQ(files().thumbnailPathWithUuid("v", true, true), thumbnails("mini.jpg"));
  EXPECT_THAT(log->lines(), Contains("DID NOT found faceTilePath: (null)"));
}

TEST_F(ImageFilesTest, logsAQuestionThatCannotBeAsked) {
  EXPECT_EQ(files().thumbnailPathWithUuid("it's", false, false), std::nullopt);
  EXPECT_THAT(log->lines(),
              Contains("could not prepare query 'SELECT thumbnailPath,miniThumbnailPath,faceTilePath FROM "
                       "RKImageProxyState WHERE versionUuid = 'it's''"));
}

TEST_F(ImageFilesTest, hasNoThumbnailWithoutItsDatabase) {
  library.remove(DatabaseFile::ImageProxies);
  EXPECT_EQ(files().thumbnailPathWithUuid("v", false, false), std::nullopt);
}

// ---- masters and previews ----

TEST_F(ImageFilesTest, servesAnUneditedPhotoFromItsMaster) {
  version("v", "m");
  master("m", "2012/07/it's 100%.JPG");
  proxy("v", 1, Value(), Value(), Value(), "preview.jpg");
  EXPECT_EQ(files().pathNameOfImageWithUuid("v"), masters("2012/07/it's 100%.JPG"));
  EXPECT_EQ(opened->databases.databaseOpenCount(), 0);
}

TEST_F(ImageFilesTest, servesAnEditedPhotoFromItsPreviewOnly) {
  version("v", "m", 1);
  version("w", "m", 1);
  master("m", "master.jpg");
  proxy("v", 1, Value(), Value(), Value(), "2012/preview.jpg");
  proxy("w", 2, Value());
  EXPECT_EQ(files().pathNameOfImageWithUuid("v"), previews("2012/preview.jpg"));
  EXPECT_EQ(files().pathNameOfImageWithUuid("w"), std::nullopt) << "no fall-back to the master";
  EXPECT_EQ(opened->databases.databaseOpenCount(), 0);
}

TEST_F(ImageFilesTest, letsTheLastOfSeveralVersionsWin) {
  version("v", "m1", 1);
  version("v", "m2", 0);
  master("m1", "one.jpg");
  master("m2", "two.jpg");
  EXPECT_EQ(files().pathNameOfImageWithUuid("v"), masters("two.jpg"));
}

TEST_F(ImageFilesTest, hasNoImageOfAnUnknownPhotoAndLeavesTheDatabaseOpen) {
  version("orphan", Value());
  EXPECT_EQ(files().pathNameOfImageWithUuid("unknown"), std::nullopt);
  EXPECT_EQ(files().pathNameOfImageWithUuid("orphan"), std::nullopt);
  EXPECT_EQ(files().pathNameOfImageWithUuid(Value()), std::nullopt);
  EXPECT_EQ(log->lines(), (std::vector<std::string>(3, "did not found masterUuid")));
  EXPECT_EQ(opened->databases.databaseOpenCount(), 3);
}

TEST_F(ImageFilesTest, hasNoImageWithoutAMasterOrItsPath) {
  version("v", "m");
  version("w", "gone");
  master("m", Value());
  EXPECT_EQ(files().pathNameOfImageWithUuid("v"), std::nullopt);
  EXPECT_EQ(files().pathNameOfImageWithUuid("w"), std::nullopt);
  EXPECT_THAT(log->lines(), IsEmpty());
}

TEST_F(ImageFilesTest, hasNoImageWithoutTheLibraryDatabase) {
  library.remove(DatabaseFile::Library);
  EXPECT_EQ(files().pathNameOfImageWithUuid("v"), std::nullopt);
  EXPECT_THAT(log->lines(), Not(Contains("did not found masterUuid")));
}

// ---- rotation ----

TEST_F(ImageFilesTest, readsAndLogsTheRotation) {
  version("v", "m", 0, 270);
  version("negative", "m", 0, -90);
  EXPECT_EQ(files().rotationOfVersionId("v"), 270);
  EXPECT_EQ(files().rotationOfVersionId("negative"), -90);
  EXPECT_EQ(files().rotationOfVersionId("unknown"), 0);
  EXPECT_EQ(log->lines(), (std::vector<std::string>{"rotation of 'v': 270", "rotation of 'negative': -90",
                                                    "rotation of 'unknown': 0"}));
  EXPECT_EQ(opened->databases.databaseOpenCount(), 0);
}

TEST_F(ImageFilesTest, hasNoRotationWithoutTheLibraryDatabase) {
  library.remove(DatabaseFile::Library);
  EXPECT_EQ(files().rotationOfVersionId("v"), 0);
}

// ---- files ----

TEST_F(ImageFilesTest, opensTheFileThatIsMeant) {
  version("v", "m");
  master("m", "Summer/img_1.jpg");
  file("Masters/summer/IMG_1.JPG", "meant");
  const Path path = files().pathNameOfImageWithUuid("v");
  EXPECT_EQ(path, masters("Summer/img_1.jpg")) << "the path stays as the database has it";
  const FileContents contents = readAll(files().open(path), 100);
  EXPECT_EQ(contents.state, FileState::Open);
  EXPECT_EQ(std::string(contents.bytes.begin(), contents.bytes.end()), "meant");
}

TEST_F(ImageFilesTest, opensNoFileOutsideOfItsFolder) {
  version("up", "m1");
  version("out", "m2");
  version("plain", "m3");
  master("m1", "../Previews/a.jpg");
  master("m2", "/../../Library/Previews/a.jpg");
  master("m3", "a.jpg");
  file("Previews/a.jpg");
  file("Masters/a.jpg");
  EXPECT_EQ(files().open(files().pathNameOfImageWithUuid("up")).state, FileState::Missing);
  EXPECT_EQ(files().open(files().pathNameOfImageWithUuid("out")).state, FileState::Missing);
  EXPECT_EQ(files().open(files().pathNameOfImageWithUuid("plain")).state, FileState::Open);
  EXPECT_EQ(files().open(std::nullopt).state, FileState::Missing);
}

TEST_F(ImageFilesTest, joinsPathsThatBeginWithASlashByOneSeparator) {
  version("v", "m");
  version("edited", "m", 1);
  master("m", "/2012/a.jpg");
  proxy("edited", 1, "//2012/thumb.jpg", Value(), Value(), "/2012/preview.jpg");
  file("Masters/2012/a.jpg", "master");
  file("Previews/2012/preview.jpg", "preview");
  file("Thumbnails/2012/thumb.jpg", "thumb");
  const auto expect = [&](const Path& path, const Path& expected) {
    EXPECT_EQ(path, expected);
    EXPECT_EQ(files().open(path).state, FileState::Open) << *expected;
  };
  expect(files().pathNameOfImageWithUuid("v"), masters("2012/a.jpg"));
  expect(files().pathNameOfImageWithUuid("edited"), previews("2012/preview.jpg"));
  expect(files().thumbnailPathWithUuid("edited", false, false), thumbnails("2012/thumb.jpg"));
}

TEST_F(ImageFilesTest, followsAFolderAboveThatStaysInItsFolder) {
  version("v", "m");
  master("m", "2012/../2013/a.jpg");
  file("Masters/2013/a.jpg");
  file("Masters/2012/b.jpg");
  EXPECT_EQ(files().open(files().pathNameOfImageWithUuid("v")).state, FileState::Open);
}

TEST_F(ImageFilesTest, reportsEachFolderThatALinkLeadsToOnce) {
  const TemporaryFolder other;
  std::ofstream(other.path() / "a.jpg") << "x";
  std::ofstream(other.path() / "b.jpg") << "x";
  proxy("a", 1, "a.jpg");
  proxy("b", 2, "b.jpg");
  std::filesystem::create_directory_symlink(other.path(), library.path() + "/Thumbnails");
  for (const char* photo : {"a", "b", "a"}) {
    EXPECT_EQ(files().open(files().thumbnailPathWithUuid(photo, false, false)).state, FileState::Missing);
  }
  const std::string folder = other.path().string();
  EXPECT_EQ(opened->messages.count("Info", "'" + library.path() +
                                               "/Thumbnails' is a link that leads out of the library, to '" +
                                               folder + "'"),
            1);
  EXPECT_EQ(opened->messages.count("Info", "-ReferencedFolders '" + folder + "'"), 1);
  EXPECT_EQ(opened->messages.count("Info", "is a link"), 1);
}

TEST_F(ImageFilesTest, reportsAFewLinksOnly) {
  const TemporaryFolder other;
  for (int i = 0; i < 30; ++i) {
    const std::string number = std::to_string(i);
    std::filesystem::create_directories(other.path() / number);
    proxy(Value("v" + number), i, Value(number + "/a.jpg"));
    std::filesystem::create_directories(library.path() + "/Thumbnails");
    std::filesystem::create_directory_symlink(other.path() / number,
                                              library.path() + "/Thumbnails/" + number);
  }
  for (int i = 0; i < 30; ++i)
    (void)files().open(files().thumbnailPathWithUuid(Value("v" + std::to_string(i)), false, false));
  EXPECT_EQ(opened->messages.count("Info", "is a link"), 10);
}

// ---- photos outside the library ----

class ReferencedMasters : public ImageFilesTest {
 protected:
  void SetUp() override {
    library.execute(DatabaseFile::Library,
                    "CREATE TABLE RKVolume (modelId integer primary key, uuid varchar, name varchar)");
    library.execute(DatabaseFile::Library, "INSERT INTO RKVolume (uuid, name) VALUES ('vol', 'Old Disk')");
    version("v", "m");
    library.insert("RKMaster", Dictionary{{"uuid", "m"},
                                          {"imagePath", "Users/ann/IMG_1.JPG"},
                                          {"fileIsReference", 1},
                                          {"fileVolumeUuid", "vol"}});
    fileOnDisk("disk", "old disk");
    fileOnDisk("other", "other disk");
  }
  void fileOnDisk(const std::string& folder, const std::string& text) {
    const auto path = disks.path() / folder / "Users/ann/img_1.jpg";
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
  }
  // The content of the photo's file; "none" without one.
  std::string contentOf(const char* uuid) {
    const Path path = files().pathNameOfImageWithUuid(uuid);
    EXPECT_EQ(path, masters("Users/ann/IMG_1.JPG")) << "the path stays as the database has it";
    const FileContents contents = readAll(files().open(path), 100);
    return contents.state == FileState::Open ? std::string(contents.bytes.begin(), contents.bytes.end())
                                             : "none";
  }
  std::string disk(const char* name) const { return (disks.path() / name).string(); }

  TemporaryFolder disks;
};

TEST_F(ReferencedMasters, areMissingWithoutAFolderThatTheUserNamed) { EXPECT_EQ(contentOf("v"), "none"); }

TEST_F(ReferencedMasters, areFoundBelowTheFolderOfTheirVolumeFirst) {
  referencedFolders = disk("other") + ":old disk=" + disk("disk");
  EXPECT_EQ(contentOf("v"), "old disk");
}

TEST_F(ReferencedMasters, areFoundBelowAnyFolder) {
  referencedFolders = "Another=" + disk("other") + ":" + disk("none") + ":" + disk("disk");
  EXPECT_EQ(contentOf("v"), "old disk");
}

TEST_F(ReferencedMasters, areNotFoundBelowTheFolderOfAnotherVolume) {
  referencedFolders = "Another=" + disk("other");
  EXPECT_EQ(contentOf("v"), "none");
}

TEST_F(ReferencedMasters, needNoTableOfVolumes) {
  library.execute(DatabaseFile::Library, "DROP TABLE RKVolume");
  referencedFolders = "old disk=" + disk("disk") + ":" + disk("other");
  EXPECT_EQ(contentOf("v"), "other disk");
  EXPECT_THAT(log->lines(), IsEmpty());
}

TEST_F(ReferencedMasters, doNotLeaveTheFolder) {
  std::ofstream(disks.path() / "secret.jpg") << "secret";
  library.execute(DatabaseFile::Library, "UPDATE RKMaster SET imagePath = '../secret.jpg'");
  referencedFolders = disk("disk");
  EXPECT_EQ(files().open(files().pathNameOfImageWithUuid("v")).state, FileState::Missing);
}

TEST_F(ReferencedMasters, areTheOnlyFilesThatAreSearchedOutside) {
  library.execute(DatabaseFile::Library, "UPDATE RKMaster SET fileIsReference = 0");
  referencedFolders = disk("disk");
  EXPECT_EQ(contentOf("v"), "none");
  library.execute(DatabaseFile::Library, "UPDATE RKMaster SET fileIsReference = 1");
  opened->nextCommand();
  EXPECT_EQ(contentOf("v"), "old disk");
  proxy("v", 1, "Users/ann/IMG_1.JPG");
  opened->nextCommand();
  EXPECT_EQ(files().open(files().thumbnailPathWithUuid("v", false, false)).state, FileState::Missing);
}

TEST_F(ImageFilesTest, holdsNoLockWhileAFileIsRead) {
  version("v", "m");
  master("m", "a.jpg");
  file("Masters/a.jpg");
  const Path path = files().pathNameOfImageWithUuid("v");
  const OpenFile open = files().open(path);
  EXPECT_TRUE(OtherProgram(library.pathOf(DatabaseFile::Library)).canWrite());
}

TEST_F(ImageFilesTest, loadsNoPixelsWithoutAPathAFileOrAPicture) {
  version("v", "m");
  master("m", "a.jpg");
  proxy("v", 1, "thumb.jpg");
  ImageFiles& images = files();
  PictureDecoder decoder(opened->processes, "/none");
  EXPECT_FALSE(images.imageWithUuid("unknown", decoder));
  EXPECT_FALSE(images.imageWithUuid("v", decoder));
  file("Masters/a.jpg", "no picture");
  EXPECT_FALSE(images.imageWithUuid("v", decoder));
  EXPECT_FALSE(images.thumbnailImageWithUuid("v", false, decoder));
}

TEST_F(ImageFilesTest, loadsThePixelsOfAThumbnailAndOfAMaster) {
  PixelBuffer gray{4, 2, PixelLayout::Gray, Bytes(8, 100), {}};
  PixelBufferSource source(gray);
  const Bytes jpeg = jpegOf(source).value();
  const std::string text(jpeg.begin(), jpeg.end());
  version("v", "m");
  master("m", "a.jpg");
  proxy("v", 1, Value(), "mini.jpg");
  file("Masters/a.jpg", text);
  file("Thumbnails/mini.jpg", text);
  ImageFiles& images = files();
  PictureDecoder decoder(opened->processes, "/none");
  const auto image = images.imageWithUuid("v", decoder);
  const auto thumbnail = images.thumbnailImageWithUuid("v", true, decoder);
  ASSERT_TRUE(image && thumbnail);
  EXPECT_EQ(image->width, 4U);
  EXPECT_EQ(thumbnail->height, 2U);
  EXPECT_NEAR(thumbnail->pixels[0], 100, 3);
}

TEST(ImageFilesWithoutALibrary, haveNoFolders) {
  FakeEventLoop loop;
  UserDefaults defaults;
  test::NoProcesses processes;
  test::RecordingMessages messages;
  PhotoApplicationFlags flags;
  const LibraryLocation location(defaults, processes, messages, flags);
  LibraryDatabases databases(loop, messages);
  Faces faces(databases);
  LibraryFiles found(messages);
  ImageFiles files(location, databases, faces, found);
  EXPECT_EQ(files.masterPathBase(), std::nullopt);
  EXPECT_EQ(files.thumbnailPathWithUuid("v", false, false), std::nullopt);
  EXPECT_EQ(files.open(std::string("/etc/hostname")).state, FileState::Missing);
}

}  // namespace
}  // namespace moxtel
