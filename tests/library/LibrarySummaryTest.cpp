#include "library/LibrarySummary.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "platform/SystemLog.h"
#include "tests/library/TestLibrary.h"

namespace moxtel {
namespace {

TEST(LibrarySummary, countsWhatThereIsToBrowse) {
  test::TestLibrary library;
  library.insert("RKFolder",
                 Dictionary{{"uuid", "p1"}, {"folderType", 2}, {"isInTrash", 0}, {"versionCount", 12}});
  library.insert("RKFolder",
                 Dictionary{{"uuid", "p2"}, {"folderType", 2}, {"isInTrash", 0}, {"versionCount", 3}});
  library.insert("RKFolder",
                 Dictionary{{"uuid", "p3"}, {"folderType", 2}, {"isInTrash", 1}, {"versionCount", 100}});
  library.insert("RKFolder",
                 Dictionary{{"uuid", "f"}, {"folderType", 1}, {"isInTrash", 0}, {"versionCount", 9}});
  for (const int subclass : {1, 2, 3}) {
    library.insert("RKAlbum", Dictionary{{"uuid", "a" + std::to_string(subclass)},
                                         {"albumType", 1},
                                         {"albumSubclass", subclass},
                                         {"isInTrash", 0},
                                         {"isMagic", 0}});
  }
  library.insert("RKFaceName", Dictionary{{"uuid", "face"}});
  test::OpenedLibrary opened(library);
  const LibraryCounts counts = countLibrary(opened.databases);
  EXPECT_EQ(counts.photos, 15);
  EXPECT_EQ(counts.events, 2);
  EXPECT_EQ(counts.albums, 2);
  EXPECT_EQ(counts.faces, 1);
}

TEST(LibrarySummary, knowsNoNumberOfPhotosWhereTheLibraryKeepsNone) {
  test::TestLibrary library;
  library.insert("RKFolder", Dictionary{{"uuid", "p1"}, {"folderType", 2}, {"isInTrash", 0}});
  test::OpenedLibrary opened(library);
  EXPECT_EQ(countLibrary(opened.databases).photos, std::nullopt);
}

TEST(LibrarySummary, letsOthersWriteAfterwards) {
  test::TestLibrary library;
  test::OtherProgram other(library.pathOf(DatabaseFile::Library));
  test::OpenedLibrary opened(library);
  static_cast<void>(countLibrary(opened.databases));
  EXPECT_TRUE(other.canWrite());
}

TEST(LibrarySummary, saysWhyAFolderIsNoLibrary) {
  const test::TestLibrary library;
  EXPECT_EQ(whyNoLibrary(library.path()), "");
  EXPECT_EQ(whyNoLibrary("relative"), "The folder's path is not an absolute one.");
  EXPECT_EQ(whyNoLibrary(library.path() + "/Nowhere"), "There is no such folder.");
  EXPECT_EQ(whyNoLibrary(library.path() + "/Database"),
            "This is no iPhoto or Aperture library: it has no file Database/apdb/Library.apdb.");
  EXPECT_NE(whyNoLibrary("/photos/\xC3\x84rger").find("outside ASCII"), std::string::npos);
}

}  // namespace
}  // namespace moxtel
