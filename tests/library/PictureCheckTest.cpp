#include "library/PictureCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>

#include "library/LibraryFiles.h"
#include "support/Localization.h"
#include "tests/OrdinaryUser.h"
#include "tests/StringTable.h"
#include "tests/library/TestLibrary.h"

namespace moxtel {
namespace {

namespace fs = std::filesystem;
using test::OpenedLibrary;
using test::TestLibrary;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

class PictureCheckTest : public testing::Test {
 protected:
  void photo(const std::string& uuid, int hasAdjustments, Value preview = Value()) {
    library.insert("RKVersion", Dictionary{{"uuid", uuid},
                                           {"masterUuid", "m"},
                                           {"versionNumber", 1},
                                           {"isInTrash", 0},
                                           {"hasAdjustments", hasAdjustments}});
    library.insert("RKImageProxyState", Dictionary{{"versionUuid", uuid}, {"fullSizePreviewPath", preview}});
  }
  void file(const std::string& name) {
    const fs::path path = library.path() + "/" + name;
    fs::create_directories(path.parent_path());
    std::ofstream(path) << "x";
  }
  // The messages of one check, until it has ended.
  std::vector<std::pair<std::string, std::string>> check(const char* folders = "") {
    OpenedLibrary opened(library);
    LibraryFiles files(opened.messages, ReferencedFolders(folders));
    PictureCheck check(opened.loop, opened.location, opened.databases, files, opened.messages);
    check.start();
    opened.loop.advance(std::chrono::seconds(3));
    return opened.messages.lines;
  }

  TestLibrary library;
};

TEST_F(PictureCheckTest, speaksTheUsersLanguage) {
  photo("edited", 1);
  test::setStringTable(
      {{"%lld of %lld edited photos have no preview in the library, so their large pictures are "
        "missing; thumbnails are served. The photo application makes the previews.",
        "Ohne Vorschau: %lld von %lld"}});
  const auto lines = check();
  setTranslator({});
  EXPECT_THAT(lines, ElementsAre(Pair("Info", "Ohne Vorschau: 1 von 1")));
}

TEST_F(PictureCheckTest, saysNothingAboutALibraryWithAllItsPictures) {
  photo("plain", 0);
  photo("edited", 1, "a.jpg");
  file("Previews/A.jpg");
  EXPECT_THAT(check(), IsEmpty());
}

TEST_F(PictureCheckTest, countsEditedPhotosWithoutAPreview) {
  photo("none", 1);
  photo("missing", 1, "gone.jpg");
  photo("there", 1, "a.jpg");
  photo("plain", 0);
  file("Previews/a.jpg");
  EXPECT_THAT(check(), ElementsAre(Pair("Info", HasSubstr("2 of 3 edited photos have no preview"))));
}

TEST_F(PictureCheckTest, looksAtAllPhotosInPieces) {
  library.execute(
      DatabaseFile::Library,
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1700) INSERT INTO "
      "RKVersion (uuid, masterUuid, versionNumber, isInTrash, hasAdjustments) SELECT 'v' || i, 'm', "
      "i % 2, 0, 1 FROM n");
  EXPECT_THAT(check(), ElementsAre(Pair("Info", HasSubstr("850 of 850 edited photos"))));
}

TEST_F(PictureCheckTest, looksForALimitedNumberOfFiles) {
  library.execute(
      DatabaseFile::Library,
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1200) INSERT INTO "
      "RKVersion (uuid, masterUuid, versionNumber, isInTrash, hasAdjustments) SELECT 'v' || i, 'm', "
      "1, 0, 1 FROM n");
  library.execute(
      DatabaseFile::ImageProxies,
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1200) INSERT INTO "
      "RKImageProxyState (versionUuid, fullSizePreviewPath) SELECT 'v' || i, 'gone.jpg' FROM n");
  EXPECT_THAT(check(), ElementsAre(Pair("Info", HasSubstr("At least 1000 of 1200 edited photos"))));
}

TEST_F(PictureCheckTest, countsPhotosOutsideTheLibraryUnlessFoldersAreNamed) {
  for (const char* uuid : {"a", "b"})
    library.insert("RKMaster", Dictionary{{"uuid", uuid}, {"imagePath", "x.jpg"}, {"fileIsReference", 1}});
  library.insert("RKMaster", Dictionary{{"uuid", "c"}, {"imagePath", "y.jpg"}, {"fileIsReference", 0}});
  EXPECT_THAT(check(), ElementsAre(Pair("Info", testing::AllOf(HasSubstr("Photos outside the library: 2."),
                                                               HasSubstr("-ReferencedFolders")))));
  EXPECT_THAT(check("/mnt"), IsEmpty());
}

TEST_F(PictureCheckTest, namesAFolderThatMayNotBeReadOnce) {
  for (const char* name : {"a", "b"})
    library.insert("RKMaster",
                   Dictionary{{"uuid", name}, {"imagePath", std::string("2012/") + name + ".jpg"}});
  file("Masters/2012/a.jpg");
  file("Masters/2012/b.jpg");
  const std::string folder = library.path() + "/Masters/2012";
  fs::permissions(fs::path(library.path()).parent_path(), fs::perms::all);
  fs::permissions(folder, fs::perms::none);
  std::vector<std::pair<std::string, std::string>> lines;
  {
    const OrdinaryUser user;
    lines = check();
  }
  fs::permissions(folder, fs::perms::owner_all);
  EXPECT_THAT(lines, ElementsAre(Pair("Error", testing::AllOf(HasSubstr("'" + folder + "'"),
                                                              HasSubstr("2 of 2 pictures")))));
}

}  // namespace
}  // namespace moxtel
