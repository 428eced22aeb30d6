#include "library/facts/PhotoColumns.h"

#include <gmock/gmock.h>

#include "tests/library/facts/FactsFixture.h"

namespace moxtel {
namespace {

using test::FactsTest;
using testing::ElementsAre;

class PhotoColumnsTest : public FactsTest {
 protected:
  PhotoColumns columns() { return readPhotoColumns(opened().databases).value_or(PhotoColumns()); }
};

TEST_F(PhotoColumnsTest, hasOneEntryForEachPhoto) {
  files.insert("RKFolder",
               Dictionary{{"modelId", 30}, {"uuid", "e"}, {"folderType", 2}, {"folderPath", "1/"}});
  photo("one", Dictionary{{"imageDate", test::kSummerDay},
                          {"imageTimeZoneName", "Europe/Berlin"},
                          {"rotation", 270},
                          {"projectUuid", "e"},
                          {"mainRating", -1},
                          {"colorLabelIndex", 3}});
  photo("two", Dictionary{{"isFlagged", 1},
                          {"isHidden", 1},
                          {"hasEnabledAdjustments", 1},
                          {"processedWidth", 100},
                          {"processedHeight", 100},
                          {"fileName", "IMG_2.cr2"}});
  photo("three", Dictionary{{"videoPosterFramePoint", "{0, 600}"}}, Dictionary{{"fileIsReference", 1}});
  photo("four", Dictionary(), Dictionary{{"type", "VIDT"}});
  const PhotoColumns all = columns();
  EXPECT_THAT(all.modelId, ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(all.masterId, ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(all.date, ElementsAre(test::kSummerDayInBerlin, PhotoColumns::kNoDate, PhotoColumns::kNoDate,
                                    PhotoColumns::kNoDate));
  EXPECT_THAT(all.width, ElementsAre(200U, 100U, 400U, 400U));
  EXPECT_THAT(all.height, ElementsAre(400U, 100U, 200U, 200U));
  EXPECT_THAT(all.rating, ElementsAre(-1, 0, 0, 0));
  EXPECT_THAT(all.colorLabel, ElementsAre(3, -1, -1, -1));
  EXPECT_THAT(all.events, ElementsAre(30));
  EXPECT_THAT(all.event,
              ElementsAre(0U, PhotoColumns::kNoEvent, PhotoColumns::kNoEvent, PhotoColumns::kNoEvent));
  EXPECT_EQ(all.rotation(0), 270);
  EXPECT_EQ(all.rotation(1), 0);
  EXPECT_EQ(all.flags[0] & 0x3fff, 0);
  EXPECT_EQ(all.flags[1],
            PhotoColumns::kFlagged | PhotoColumns::kHidden | PhotoColumns::kEdited | PhotoColumns::kRaw);
  EXPECT_EQ(all.flags[2], PhotoColumns::kMovie | PhotoColumns::kReferenced);
  EXPECT_EQ(all.flags[3], PhotoColumns::kMovie);
  EXPECT_EQ(all.find(3), 2U);
  EXPECT_FALSE(all.find(5));
}

TEST_F(PhotoColumnsTest, leavesOutWhatIsInTheTrash) {
  files.insert("RKFolder",
               Dictionary{{"uuid", "above"}, {"folderType", 1}, {"folderPath", "1/2/"}, {"isInTrash", 1}});
  files.insert("RKFolder",
               Dictionary{{"uuid", "e"}, {"folderType", 2}, {"folderPath", "1/2/3/"}, {"isInTrash", 0}});
  photo("self", Dictionary{{"isInTrash", 1}});
  photo("original", Dictionary(), Dictionary{{"isInTrash", 1}});
  photo("event", Dictionary{{"projectUuid", "e"}});
  photo("not shown", Dictionary{{"showInLibrary", 0}});
  photo("hidden original", Dictionary{{"versionNumber", 0}});
  const std::int64_t kept = photo("kept");
  EXPECT_THAT(columns().modelId, ElementsAre(kept));
}

TEST_F(PhotoColumnsTest, isNothingWithoutADatabase) {
  files.overwrite(DatabaseFile::Library, std::string(50'000, 'x'));
  EXPECT_FALSE(readPhotoColumns(opened().databases));
}

TEST_F(PhotoColumnsTest, takesAtMost40BytesAPhoto) {
  const PhotoColumns c;
  EXPECT_LE(sizeof c.modelId[0] + sizeof c.masterId[0] + sizeof c.date[0] + sizeof c.width[0] +
                sizeof c.height[0] + sizeof c.event[0] + sizeof c.flags[0] + sizeof c.rating[0] +
                sizeof c.colorLabel[0],
            40U);
}

}  // namespace
}  // namespace moxtel
