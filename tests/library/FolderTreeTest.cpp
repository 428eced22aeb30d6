#include "library/completeness/FolderTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/system/SystemLog.h"
#include "tests/library/LocalTimeZone.h"
#include "tests/library/TestLibrary.h"

namespace moxtel {
namespace {

using test::LocalTimeZone;
using test::OpenedLibrary;
using test::TestLibrary;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> pathIdsOf(const MXSFolder& folder) {
  std::vector<std::string> ids;
  for (const auto& child : folder.children) ids.push_back(child->pathId);
  return ids;
}

TEST(MXSFolder, makesOneNodeForACommonBeginning) {
  MXSFolder root;
  root.addChildrenWithPath("a/b", "B", "uuid b");
  root.addChildrenWithPath("a/c", "C", "uuid c");
  ASSERT_THAT(pathIdsOf(root), ElementsAre("a"));
  const MXSFolder& a = *root.children[0];
  EXPECT_EQ(a.level, 1);
  EXPECT_TRUE(a.folderName.isNil());
  EXPECT_TRUE(a.uuid.isNil());
  ASSERT_THAT(pathIdsOf(a), ElementsAre("b", "c"));
  EXPECT_EQ(a.children[1]->level, 2);
  EXPECT_EQ(a.children[1]->folderName, Value("C"));
  EXPECT_EQ(a.children[1]->uuid, Value("uuid c"));
}

TEST(MXSFolder, takesAnEmptyPathForItself) {
  MXSFolder root;
  root.addChildrenWithPath("", "me", "uuid");
  EXPECT_EQ(root.folderName, Value("me"));
  EXPECT_EQ(root.uuid, Value("uuid"));
  EXPECT_THAT(root.children, IsEmpty());
}

TEST(MXSFolder, takesAFinalSeparatorForNothingAndAFirstOneForAnEmptyComponent) {
  MXSFolder root;
  root.addChildrenWithPath("a/", "A", "1");
  root.addChildrenWithPath("/b", "B", "2");
  EXPECT_THAT(pathIdsOf(root), ElementsAre("a", ""));
  EXPECT_EQ(root.children[0]->folderName, Value("A"));
  EXPECT_THAT(pathIdsOf(*root.children[1]), ElementsAre("b"));
}

TEST(MXSFolder, flattensInBlocksOfSiblings) {
  MXSFolder root;
  for (const char* path : {"a/b/c", "a/d", "e/f"}) root.addChildrenWithPath(path, path, path);
  std::vector<MXSFolder*> list;
  root.addAllChildrenTo(list);
  std::string order;
  for (const MXSFolder* folder : list) order += folder->pathId;
  EXPECT_EQ(order, "aebdcf");
}

TEST(MXSFolder, describesItselfAsAnOutline) {
  MXSFolder root;
  root.folderName = "ROOT";
  root.addChildrenWithPath("a/b", "B", "1");
  EXPECT_EQ(root.description(), " 'ROOT' ((null))\n--- '(null)' (a)\n------ 'B' (b)\n");
}

TEST(MXSFolder, boundsTheDepthOfAPath) {
  MXSFolder root;
  std::string path = "a";
  for (int i = 0; i < 100000; ++i) path += "/a";
  root.addChildrenWithPath(path, "deep", "1");
  std::vector<MXSFolder*> list;
  root.addAllChildrenTo(list);
  EXPECT_EQ(list.size(), static_cast<std::size_t>(MXSFolder::kDeepestLevel) + 1);
  EXPECT_EQ(list.back()->folderName, Value("deep"));
  EXPECT_LT(root.description().size(), 1000000U);
}

TEST(RecordClasses, describeThemselves) {
  RKFolder folder;
  folder.folderType = 2;
  folder.name = "Trip";
  folder.uuid = "u%d";
  folder.folderPath = "1/2";
  folder.versions = {1, 2};
  EXPECT_EQ(folder.description(), "RKFolder(T2, 002 Vs) 'Trip', uuid 'u%d', path '1/2'");
  RKAlbum album;
  album.albumSubclass = 3;
  album.uuid = "u";
  album.versionCount = 12;
  EXPECT_EQ(album.description(), "RKAlbum(3) '(null)', uuid 'u', 12 versions");
}

class FolderTreeTest : public testing::Test {
 protected:
  void folder(Value uuid, Value name, Value path, Value minImageDate = 0) {
    files.insert("RKFolder", Dictionary{{"uuid", uuid},
                                        {"name", name},
                                        {"folderPath", path},
                                        {"folderType", 1},
                                        {"minImageDate", minImageDate}});
  }
  FolderTree build() {
    opened.emplace(files);
    log.emplace();
    return obsoletesZeug(opened->databases);
  }

  LocalTimeZone utc{"UTC"};
  TestLibrary files;
  std::optional<OpenedLibrary> opened;
  std::optional<SystemLogCapture> log;
};

TEST_F(FolderTreeTest, buildsTheTreeInTheUsersOrder) {
  folder("1", "One", "1/");
  folder("2", "Two", "1/2/");
  folder("3", "Three", "1/3");
  folder("4", "Four", "1/4");
  for (const auto& [uuid, number] : {std::pair("2", 7), std::pair("4", -1)})
    files.insert("RKCustomSortOrder",
                 Dictionary{{"containerUuid", "1"}, {"objectUuid", uuid}, {"orderNumber", number}});
  const FolderTree tree = build();
  EXPECT_THAT(log->lines(),
              ElementsAre("Root Folder:  'ROOT' ((null))\n--- 'One' (1)\n------ 'Two' (2)\n------ 'Three' "
                          "(3)\n------ 'Four' (4)\n",
                          "MXSFolder 'ROOT' ((null))", "MXSFolder 'One' (1)", "MXSFolder 'Two' (2)",
                          "MXSFolder 'Three' (3)", "MXSFolder 'Four' (4)",
                          "Root Folder:  'ROOT' ((null))\n--- 'One' (1)\n------ 'Four' (4)\n------ 'Three' "
                          "(3)\n------ 'Two' (2)\n"));
  EXPECT_EQ(tree.folders.size(), 4U);
  EXPECT_EQ(tree.folders[tree.byUuid.at("2")].folderPath, Value("1/2"));
  EXPECT_EQ(opened->databases.databaseOpenCount(), 0);
}

TEST_F(FolderTreeTest, namesAnEmptyRecordAfterItsDayAndLeavesTheNode) {
  folder("1", "", "1");
  folder("2", Value(), "2");
  const FolderTree tree = build();
  EXPECT_TRUE(log->contains("no name, but uuid '1'"));
  EXPECT_TRUE(log->contains("no name, but uuid '2'"));
  EXPECT_TRUE(log->contains("CREATED FOLDERNAME '2001-01-01'"));
  ASSERT_EQ(tree.folders.size(), 1U);
  EXPECT_EQ(tree.folders[0].name, Value("2001-01-01"));
  EXPECT_EQ(tree.root->children[0]->folderName, Value(""));
}

TEST_F(FolderTreeTest, survivesNullsAndPathsOfSeparators) {
  folder(Value(), Value(), Value());
  folder("x", "X", "///");
  folder("y", "Y", "/", 1e300);
  const FolderTree tree = build();
  EXPECT_EQ(tree.root->folderName, Value("Y"));
}

TEST_F(FolderTreeTest, buildsNothingWithoutTheLibraryDatabase) {
  files.remove(DatabaseFile::Library);
  EXPECT_EQ(build().root, nullptr);
}

TEST(PrintChildren, logsNamesFromTheTopDown) {
  SystemLogCapture log;
  printChildrenOf(Dictionary{
      {"children", Array{Value(Dictionary{{"AlbumName", "a"},
                                          {"children", Array{Value(Dictionary{{"AlbumName", "b"}})}}}),
                         Value(Dictionary{{"AlbumName", "c"}}), Value("no dictionary")}}});
  EXPECT_THAT(log.lines(), ElementsAre("child: 'a'", "child: 'b'", "child: 'c'", "child: '(null)'"));
}

}  // namespace
}  // namespace moxtel
