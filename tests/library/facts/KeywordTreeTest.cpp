#include "library/facts/KeywordTree.h"

#include <gmock/gmock.h>

#include "library/facts/PhotoColumns.h"
#include "tests/library/facts/FactsFixture.h"

namespace moxtel {
namespace {

using test::FactsTest;
using testing::ElementsAre;
using testing::IsEmpty;

class KeywordTreeTest : public FactsTest {
 protected:
  std::vector<std::string> names(const KeywordTree& tree) {
    std::vector<std::string> all;
    for (const Keyword& each : tree.all()) all.push_back(each.name);
    return all;
  }
};

TEST_F(KeywordTreeTest, listsParentsFirstAndChildrenByName) {
  library(
      "RKKeyword (modelId,name,parentId) VALUES "
      "(1,'Travel',NULL),(2,'Japan',1),(3,'Aunt',NULL),(4,'Italy',1),"
      "(5,'Rome',4),(6,NULL,1),(7,'lost',99)");
  const KeywordTree tree(opened().databases);
  EXPECT_THAT(names(tree), ElementsAre("Aunt", "Travel", "Italy", "Rome", "Japan", "lost"));
  EXPECT_THAT(tree.pathOf(5), ElementsAre("Travel", "Italy", "Rome"));
  EXPECT_THAT(tree.withThoseBelow(1), ElementsAre(1, 4, 5, 2));
  EXPECT_THAT(tree.withThoseBelow(3), ElementsAre(3));
  EXPECT_THAT(tree.pathOf(77), IsEmpty());
  EXPECT_THAT(tree.withThoseBelow(77), IsEmpty());
}

TEST_F(KeywordTreeTest, opensCircles) {
  library("RKKeyword (modelId,name,parentId) VALUES (1,'a',3),(2,'b',1),(3,'c',2),(4,'self',4)");
  const KeywordTree tree(opened().databases);
  EXPECT_THAT(names(tree), ElementsAre("self", "a", "b", "c"));
  EXPECT_THAT(tree.pathOf(3), ElementsAre("a", "b", "c"));
}

TEST_F(KeywordTreeTest, keepsAnEndlessChainShort) {
  std::string rows;
  for (int i = 1; i <= 500; ++i)
    rows += (i > 1 ? "," : "") + std::string("(") + std::to_string(i) + ",'k" + std::to_string(1000 + i) +
            "'," + std::to_string(i - 1) + ")";
  library("RKKeyword (modelId,name,parentId) VALUES " + rows);
  const KeywordTree tree(opened().databases);
  EXPECT_EQ(tree.all().size(), 500U);
  for (const Keyword& each : tree.all()) EXPECT_LE(each.depth, KeywordTree::kDeepest);
}

TEST_F(KeywordTreeTest, countsPhotosOfAKeywordAndThoseBelowItOnce) {
  library("RKKeyword (modelId,name,parentId) VALUES (1,'Travel',NULL),(2,'Japan',1),(3,'Aunt',NULL)");
  photo("both");
  photo("one");
  photo("hidden", Dictionary{{"isHidden", 1}});
  photo("trash", Dictionary{{"isInTrash", 1}});
  library("RKKeywordForVersion (versionId,keywordId) VALUES (1,1),(1,2),(2,2),(3,2),(4,2),(9,2)");
  KeywordTree tree(opened().databases);
  tree.count(opened().databases, *readPhotoColumns(opened().databases));
  EXPECT_EQ(tree.find(1)->count, 2U);
  EXPECT_EQ(tree.find(2)->count, 2U);
  EXPECT_EQ(tree.find(3)->count, 0U);
}

}  // namespace
}  // namespace moxtel
