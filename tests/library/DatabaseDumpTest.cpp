#include "library/completeness/DatabaseDump.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "library/ContainerTree.h"
#include "library/Faces.h"
#include "platform/system/SystemLog.h"
#include "support/SampleLibrary.h"
#include "tests/fakes/RecordingPhotoApplication.h"
#include "tests/library/TestLibrary.h"

namespace moxtel {
namespace {

TEST(DatabaseDump, logsTheListsInOrder) {
  test::TestLibrary files;
  const auto folder = [&files](const char* uuid, const char* parent, int type) {
    files.insert("RKFolder", Dictionary{{"uuid", uuid},
                                        {"name", uuid},
                                        {"parentFolderUuid", parent},
                                        {"folderType", type},
                                        {"isInTrash", 0}});
  };
  folder("project", "AllProjectsItem", 2);
  folder("inside", SampleLibrary::kFolderInProjectsUuid, 2);
  folder("deeper", SampleLibrary::kFolderUuid, 1);
  folder("top", "TopLevelAlbums", 1);
  files.insert("RKFaceName", Dictionary{{"uuid", "ann"}, {"name", "Ann"}, {"faceKey", 5}});
  test::OpenedLibrary opened(files);
  test::RecordingPhotoApplication application;
  ContainerTree tree(opened.databases, application, opened.defaults);
  Faces faces(opened.databases);
  SystemLogCapture log;
  testDatabase(tree, faces);
  std::vector<std::string> lines;
  for (const std::string& line : log.lines()) {
    if (!line.starts_with("In parentUuid")) lines.push_back(line);
  }
  const auto with = [](const char* id) { return testing::HasSubstr("AlbumId = " + std::string(id)); };
  EXPECT_THAT(lines, testing::ElementsAre(
                         "\n-------------------- DATABASE TESTS ---------------------\n\n",
                         testing::AllOf(testing::StartsWith("albums: ("), with("top")),
                         testing::AllOf(testing::StartsWith("albums: ("), with("top")),
                         testing::AllOf(testing::StartsWith("top level projects: ("), with("project")),
                         testing::AllOf(testing::StartsWith("inside '1 Project in FolderInProjects': ("),
                                        with("inside")),
                         testing::AllOf(testing::StartsWith("inside 'Folder': ("), with("deeper")),
                         testing::AllOf(testing::StartsWith("Albums?: ("), with("top")),
                         testing::AllOf(testing::StartsWith("faces: ("), with("ann"))));
}

}  // namespace
}  // namespace moxtel
