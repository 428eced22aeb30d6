#include "library/ReferencedFolders.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace moxtel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(ReferencedFolders, areNoneWithoutASetting) {
  EXPECT_TRUE(ReferencedFolders().empty());
  EXPECT_TRUE(ReferencedFolders("").empty());
  EXPECT_TRUE(ReferencedFolders(":::").empty());
  EXPECT_THAT(ReferencedFolders(":::").rejected(), IsEmpty());
}

TEST(ReferencedFolders, areSeparatedByColons) {
  const ReferencedFolders folders("/mnt/one::/mnt/two:Old Disk=/mnt/three:");
  EXPECT_THAT(folders.entries(),
              ElementsAre(ReferencedFolder{"", "/mnt/one"}, ReferencedFolder{"", "/mnt/two"},
                          ReferencedFolder{"Old Disk", "/mnt/three"}));
  EXPECT_THAT(folders.rejected(), IsEmpty());
}

TEST(ReferencedFolders, keepEqualsSigns) {
  const ReferencedFolders folders("/mnt/a=/b:A=B=/mnt/c=d");
  EXPECT_THAT(folders.entries(),
              ElementsAre(ReferencedFolder{"", "/mnt/a=/b"}, ReferencedFolder{"A=B", "/mnt/c=d"}));
}

TEST(ReferencedFolders, rejectWhatIsNoAbsolutePath) {
  const ReferencedFolders folders("pictures:~/x:Disk=mnt:=/mnt:/good");
  EXPECT_THAT(folders.entries(), ElementsAre(ReferencedFolder{"", "/good"}));
  EXPECT_THAT(folders.rejected(), ElementsAre("pictures", "~/x", "Disk=mnt", "=/mnt"));
  EXPECT_THAT(ReferencedFolders(std::string_view("/a\0b", 4)).entries(), IsEmpty());
}

TEST(ReferencedFolders, ofAVolumeComeBeforeThoseOfAnyVolume) {
  const ReferencedFolders folders("/any:Old=/old:Other=/other:/more:\xC3\x89t\xC3\xA9=/summer");
  EXPECT_THAT(folders.foldersOf("old"), ElementsAre("/old", "/any", "/more"));
  EXPECT_THAT(folders.foldersOf("e\xCC\x81te\xCC\x81"), ElementsAre("/summer", "/any", "/more"));
  EXPECT_THAT(folders.foldersOf(""), ElementsAre("/any", "/more"));
}

}  // namespace
}  // namespace moxtel
