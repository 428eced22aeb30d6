#include "app/FolderOutline.h"

#include <gtest/gtest.h>

#include "library/ContainerTree.h"
#include "tests/fakes/RecordingPhotoApplication.h"
#include "tests/library/TestLibrary.h"

namespace moxtel {
namespace {

class FolderOutlineTest : public testing::Test {
 protected:
  void folder(const char* uuid, const char* name, int type, const char* parent) {
    files.insert("RKFolder", Dictionary{{"uuid", uuid},
                                        {"name", name},
                                        {"folderType", type},
                                        {"isInTrash", 0},
                                        {"parentFolderUuid", parent},
                                        {"versionCount", 0},
                                        {"isHiddenWhenEmpty", 0}});
  }
  std::string outline() {
    test::OpenedLibrary library(files);
    UserDefaults defaults;
    test::RecordingPhotoApplication application;
    ContainerTree tree(library.databases, application, defaults);
    return folderOutline("/photos/Library", tree);
  }

  test::TestLibrary files;
};

TEST_F(FolderOutlineTest, drawsFoldersAndEvents) {
  folder("p", "Summer", 2, "AllProjectsItem");
  folder("f", "Trips", 1, "TopLevelAlbums");
  folder("g", "Rome", 1, "f");
  folder("h", "Oslo\x1b[31m", 1, "f");
  EXPECT_EQ(outline(),
            "/photos/Library\n\nEvents\n└── Summer (0 photos)\n\nAlbums\n└── Trips/\n    ├── Rome/\n    "
            "└── Oslo\\x1b[31m/\n");
}

TEST_F(FolderOutlineTest, endsInACircle) {
  folder("f", "Outer", 1, "TopLevelAlbums");
  folder("f", "Inner", 1, "f");
  EXPECT_EQ(outline(), "/photos/Library\n\nEvents\n└── (none)\n\nAlbums\n└── Outer/\n    └── Inner/\n");
}

}  // namespace
}  // namespace moxtel
