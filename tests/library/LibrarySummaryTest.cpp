#include "library/LibrarySummary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "makelibrary/MakeLibrary.h"
#include "makelibrary/MakeLibraryOptions.h"
#include "platform/system/SystemLog.h"
#include "support/Localization.h"
#include "tests/StringTable.h"
#include "tests/library/ServedLibrary.h"
#include "tests/library/TestLibrary.h"

namespace moxtel {
namespace {

Dictionary folder(const char* uuid, int type, const char* parent) {
  return Dictionary{{"uuid", uuid}, {"folderType", type}, {"parentFolderUuid", parent}, {"isInTrash", 0}};
}

Dictionary album(const char* uuid, int subclass, const char* parent) {
  return Dictionary{{"uuid", uuid},
                    {"albumType", 1},
                    {"albumSubclass", subclass},
                    {"folderUuid", parent},
                    {"isInTrash", 0}};
}

Dictionary photo(const char* uuid, const char* event, const Dictionary& differences) {
  Dictionary columns{{"uuid", uuid},   {"projectUuid", event}, {"versionNumber", 1}, {"showInLibrary", 1},
                     {"isInTrash", 0}, {"isHidden", 0},        {"mainRating", 3}};
  for (const auto& [key, value] : differences) columns.set(key, value);
  return columns;
}

TEST(LibrarySummary, countsWhatThereIsToBrowse) {
  test::TestLibrary library;
  for (const char* uuid : {"p1", "p2"}) library.insert("RKFolder", folder(uuid, 2, "AllProjectsItem"));
  library.insert("RKFolder", Dictionary{{"uuid", "p3"}, {"folderType", 2}, {"isInTrash", 1}});
  library.insert("RKVersion", photo("edited", "p1", Dictionary()));
  library.insert("RKVersion", photo("its other version", "p1", {{"versionNumber", 2}}));
  library.insert("RKVersion", photo("elsewhere", "p2", Dictionary()));
  library.insert("RKVersion", photo("original", "p1", {{"versionNumber", 0}, {"showInLibrary", 0}}));
  library.insert("RKVersion", photo("hidden", "p1", {{"isHidden", 1}}));
  library.insert("RKVersion", photo("rejected", "p1", {{"mainRating", -1}}));
  library.insert("RKVersion", photo("in the trash", "p1", {{"isInTrash", 1}}));
  library.insert("RKVersion", photo("in an event in the trash", "p3", Dictionary()));
  for (const int subclass : {1, 2, 3}) {
    library.insert("RKAlbum", album(("a" + std::to_string(subclass)).c_str(), subclass, "TopLevelAlbums"));
  }
  library.insert("RKFaceName", Dictionary{{"uuid", "face"}});
  test::OpenedLibrary opened(library);
  const LibraryCounts counts = countLibrary(opened.databases);
  EXPECT_EQ(counts.photos, 3);
  EXPECT_EQ(counts.events, 2);
  EXPECT_EQ(counts.albums, 2);
  EXPECT_EQ(counts.faces, 1);
}

// The application's own albums and what hangs nowhere are not to be seen.
TEST(LibrarySummary, countsTheAlbumsAndEventsThatClientsSee) {
  test::TestLibrary library;
  library.insert("RKFolder", folder("shelf", 1, "TopLevelAlbums"));
  library.insert("RKFolder", folder("box", 1, "shelf"));
  library.insert("RKFolder", folder("event", 2, "AllProjectsItem"));
  library.insert("RKFolder", folder("years", 1, "AllProjectsItem"));
  library.insert("RKFolder", folder("nested", 2, "years"));
  library.insert("RKFolder", folder("trashed folder's", 2, "gone"));
  library.insert("RKFolder", folder("ring", 1, "ring"));
  Dictionary import = folder("import", 2, "AllProjectsItem");
  import.set("isHiddenWhenEmpty", 1);
  library.insert("RKFolder", import);
  library.insert("RKAlbum", album("top", 3, "TopLevelAlbums"));
  library.insert("RKAlbum", album("deep", 2, "box"));
  library.insert("RKAlbum", album("lastImportAlbum", 2, "TopLevelAlbums"));
  library.insert("RKAlbum", album("Faces", 3, "TopLevelAlbums"));
  library.insert("RKAlbum", album("lost", 3, "gone"));
  library.insert("RKAlbum", album("in the ring", 3, "ring"));
  test::OpenedLibrary opened(library);
  const LibraryCounts counts = countLibrary(opened.databases);
  EXPECT_EQ(counts.albums, 2);
  EXPECT_EQ(counts.events, 2);
}

TEST(LibrarySummary, givesNoNumberOfPhotosThatCannotBeRead) {
  test::TestLibrary library;
  library.execute(DatabaseFile::Library, "DROP TABLE RKVersion");
  test::OpenedLibrary opened(library);
  EXPECT_EQ(countLibrary(opened.databases).photos, std::nullopt);
}

// Photos 2 to 4 know which originals are missing, whatever files there are.
TEST(LibrarySummary, countsTheOriginalsThatPhotos4Misses) {
  const TemporaryFolder folder;
  makelibrary::MakeLibraryOptions options;
  options.kind = makelibrary::LibraryKind::Photos4;
  options.photos = 50;
  options.images = makelibrary::Images::Small;
  options.folder = folder.path() / "Library";
  makelibrary::makeLibrary(options);
  test::OtherProgram photos((options.folder / "database" / "photos.db").string());
  ASSERT_EQ(photos.execute("UPDATE RKMaster SET isMissing = 1"), SQLITE_OK);
  test::ServedLibrary served(options.folder.string());
  const LibraryCounts counts = countLibrary(served.databases);
  EXPECT_GT(counts.photos, 0);
  EXPECT_EQ(counts.onlyInCloud, counts.photos);
}

TEST(LibrarySummary, letsOthersWriteAfterwards) {
  test::TestLibrary library;
  test::OtherProgram other(library.pathOf(DatabaseFile::Library));
  test::OpenedLibrary opened(library);
  static_cast<void>(countLibrary(opened.databases));
  EXPECT_TRUE(other.canWrite());
}

TEST(LibrarySummary, countsNothingAndLogsNothingWithoutALibrary) {
  const SystemLogCapture log;
  test::TestLibrary library;
  for (const DatabaseFile file : {DatabaseFile::Library, DatabaseFile::Faces}) library.remove(file);
  test::OpenedLibrary opened(library);
  const auto logged = log.lines();
  EXPECT_EQ(countLibrary(opened.databases), LibraryCounts());
  EXPECT_EQ(log.lines(), logged);
  EXPECT_EQ(opened.databases.databaseOpenCount(), 0);
}

TEST(LibrarySummary, countsTheRestWithoutTheFaces) {
  const SystemLogCapture log;
  test::TestLibrary library;
  library.insert("RKFolder", folder("p", 2, "AllProjectsItem"));
  library.remove(DatabaseFile::Faces);
  test::OpenedLibrary opened(library);
  const auto logged = log.lines();
  const LibraryCounts counts = countLibrary(opened.databases);
  EXPECT_EQ(counts.events, 1);
  EXPECT_EQ(counts.faces, std::nullopt);
  EXPECT_EQ(log.lines(), logged);
}

TEST(LibrarySummary, namesTheKindAndWhatIsInTheCloud) {
  LibraryCounts counts;
  counts.photos = 26311;
  EXPECT_EQ(describeCounts(counts), "");
  counts.name = "Photos 5 library";
  EXPECT_EQ(describeCounts(counts), "Photos 5 library, 26,311 photos");
  counts.onlyInCloud = 214;
  EXPECT_EQ(describeCounts(counts), "Photos 5 library, 26,311 photos, 214 only in the cloud");
  counts.photos = std::nullopt;
  EXPECT_EQ(describeCounts(counts), "Photos 5 library");
}

TEST(LibrarySummary, countsInTheUsersLanguage) {
  test::setStringTable(
      {{"Photos 5 library", "Bibliothek von Fotos 5"}, {"1 photo", "1 Foto"}, {"%@ photos", "%@ Fotos"}});
  LibraryCounts counts;
  counts.name = "Photos 5 library";
  counts.photos = 1;
  const std::string one = describeCounts(counts);
  counts.photos = 12;
  const std::string twelve = describeCounts(counts);
  setTranslator({});
  EXPECT_EQ(one, "Bibliothek von Fotos 5, 1 Foto");
  EXPECT_EQ(twelve, "Bibliothek von Fotos 5, 12 Fotos");
}

TEST(LibrarySummary, saysWhyAFolderIsNoLibrary) {
  const test::TestLibrary library;
  EXPECT_EQ(whyNoLibrary(library.path()), "");
  EXPECT_EQ(whyNoLibrary("relative"), "The folder's path is not absolute.");
  EXPECT_EQ(whyNoLibrary(library.path() + "/Nowhere"), "There is no such folder.");
  EXPECT_EQ(whyNoLibrary(library.path() + "/Database"),
            "This folder is not a photo library. Choose the folder named like \"iPhoto Library\", not the "
            "disk or a "
            "folder inside it.");
  EXPECT_NE(whyNoLibrary("/photos/\xC4rger").find("not valid UTF-8"), std::string::npos);
}

TEST(LibrarySummary, namesTheKindsOfLibrariesThatAreNotServed) {
  const auto why = [](const char* file) {
    const TemporaryFolder folder;
    const std::filesystem::path path = folder.path() / file;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream{path} << "x";
    return whyNoLibrary(folder.path().string());
  };
  EXPECT_EQ(why("Aperture.aplib/Library.apdb"),
            "This is a library of Aperture 1 or 2. Open it once with Aperture 3, which converts it.");
  for (const char* served :
       {"AlbumData.xml", "database/photos.db", "database/Photos.sqlite", "Database/Library.apdb"})
    EXPECT_EQ(why(served), "") << served;
  EXPECT_EQ(why("Database/apdb/Faces.db"),
            "The library's file Database/apdb/Library.apdb is missing. Copy the library again.");
  EXPECT_THAT(why("other"), testing::StartsWith("This folder is not a photo library."));
}

TEST(LibrarySummary, readsByARelativePathThatIsNotToBeRemembered) {
  const test::TestLibrary library;
  const std::string relative = std::filesystem::relative(library.path()).string();
  EXPECT_EQ(whyUnreadable(relative), "");
  EXPECT_NE(whyNoLibrary(relative), "");
  EXPECT_NE(whyUnreadable(""), "");
}

TEST(LibrarySummary, saysThatTheUserMayNotRead) {
  if (::geteuid() == 0) GTEST_SKIP() << "the superuser may read everything";
  const test::TestLibrary library;
  const std::string file = library.pathOf(DatabaseFile::Library);
  const std::string folder = std::filesystem::path(file).parent_path();
  for (const std::string& closed : {file, folder, library.path()}) {
    std::filesystem::permissions(closed, std::filesystem::perms::none);
    EXPECT_EQ(whyUnreadable(library.path()), "This user is not permitted to read the folder.") << closed;
    std::filesystem::permissions(closed, std::filesystem::perms::owner_all);
  }
  EXPECT_EQ(whyUnreadable(library.path()), "");
}

}  // namespace
}  // namespace moxtel
