#include "library/kinds/LibraryKind.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <initializer_list>

#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

LibraryLayout layoutWith(std::initializer_list<const char*> files) {
  const TemporaryFolder folder;
  for (const char* file : files) {
    const std::filesystem::path path = folder.path() / file;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream{path} << "x";
  }
  return layoutOfLibrary(folder.path().string());
}

TEST(LibraryKind, isFoundByTheFilesOfAFolder) {
  EXPECT_EQ(layoutWith({}).kind, LibraryKind::None);
  EXPECT_EQ(layoutWith({"Database/apdb/Library.apdb"}).kind, LibraryKind::IPhoto);
  EXPECT_EQ(layoutWith({"Database/Library.apdb"}).kind, LibraryKind::IPhoto);
  EXPECT_EQ(layoutWith({"database/photos.db"}).kind, LibraryKind::Photos4);
  EXPECT_EQ(layoutWith({"database/Photos.sqlite"}).kind, LibraryKind::Photos5);
  EXPECT_EQ(layoutWith({"AlbumData.xml"}).kind, LibraryKind::AlbumDataOnly);
  EXPECT_EQ(layoutWith({"Aperture.aplib/Library.apdb"}).kind, LibraryKind::OlderAperture);
}

TEST(LibraryKind, isTheNewestOfSeveral) {
  EXPECT_EQ(layoutWith({"database/photos.db", "database/Photos.sqlite"}).kind, LibraryKind::Photos5);
  EXPECT_EQ(layoutWith({"AlbumData.xml", "Database/apdb/Library.apdb"}).kind, LibraryKind::IPhoto);
  EXPECT_EQ(layoutWith({"database/photos.db", "AlbumData.xml"}).kind, LibraryKind::Photos4);
}

TEST(LibraryKind, isNotFoundByAFolderInPlaceOfAFile) {
  EXPECT_EQ(layoutWith({"database/Photos.sqlite/file"}).kind, LibraryKind::None);
}

TEST(LibraryKind, saysWhereTheDatabasesAre) {
  EXPECT_EQ(layoutWith({"Database/apdb/Library.apdb"}).databaseFiles[3], "Database/apdb/Faces.db");
  EXPECT_EQ(layoutWith({"Database/Library.apdb"}).databaseFiles[3], "Database/Faces.db");
  EXPECT_EQ(layoutWith({}).databaseFiles[0], "Database/apdb/Library.apdb");
  for (const std::string& file : layoutWith({"database/photos.db"}).databaseFiles)
    EXPECT_EQ(file, "database/photos.db");
}

TEST(LibraryKind, saysWhatIsServedAndAsked) {
  const LibraryLayout iPhoto = layoutWith({"Database/apdb/Library.apdb"});
  EXPECT_TRUE(iPhoto.isServed() && iPhoto.hasPhotoApplication && !iPhoto.hasPathCandidates);
  const LibraryLayout photos = layoutWith({"database/Photos.sqlite"});
  EXPECT_TRUE(photos.isServed() && !photos.hasPhotoApplication && photos.hasPathCandidates);
  EXPECT_FALSE(photos.isFilledFromFile);
  EXPECT_TRUE(layoutWith({"AlbumData.xml"}).isFilledFromFile);
  EXPECT_FALSE(layoutWith({"Aperture.aplib/Library.apdb"}).isServed());
}

TEST(LibraryKind, hasANameWhereTheConsoleSaysIt) {
  EXPECT_EQ(nameOfLibrary(LibraryKind::Photos4, "Photos 3"), "Photos 3 library");
  EXPECT_EQ(nameOfLibrary(LibraryKind::Photos5, ""), "Photos library");
  EXPECT_EQ(nameOfLibrary(LibraryKind::AlbumDataOnly, ""), "iPhoto library (AlbumData.xml only)");
  EXPECT_EQ(nameOfLibrary(LibraryKind::IPhoto, ""), "");
  EXPECT_EQ(nameOfLibrary(LibraryKind::None, ""), "");
}

}  // namespace
}  // namespace moxtel
