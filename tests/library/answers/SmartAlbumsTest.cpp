#include "library/answers/SmartAlbums.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "library/answers/AlbumExplanation.h"
#include "tests/library/LocalTimeZone.h"
#include "tests/library/answers/AnswersFixture.h"

namespace moxtel::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using Source = SmartAlbumMembers::Source;

constexpr double kDay = 86400;
// 2016-07-12 00:00:00 UTC, in seconds since 2001-01-01 UTC.
constexpr double kSummerDay = 489974400;

class SmartAlbumsTest : public AnswersTest {
 protected:
  std::vector<std::string> membersOfRule(const Dictionary& rule) {
    lastRule = "rule " + std::to_string(++rules_);
    if (opened) opened->nextCommand();
    smartAlbum(lastRule.c_str(), rule);
    return membersOf(lastRule.c_str());
  }
  Source sourceOf(const char* uuid) { return smartAlbums().membersOf(uuid)->source; }
  // A text of Properties.apdb, which a photo has under a key.
  void text(const char* table, std::int64_t version, const char* key, const char* value) {
    const std::int64_t id = files.insert("RKUniqueString", Dictionary{{"stringProperty", value}});
    files.insert(table, Dictionary{{"versionId", version}, {"propertyKey", key}, {"stringId", id}});
  }
  void number(std::int64_t version, const char* key, Value value) {
    files.insert("RKExifNumberProperty",
                 Dictionary{{"versionId", version}, {"propertyKey", key}, {"numberProperty", value}});
  }
  std::string lastRule;

 private:
  int rules_ = 0;
};

TEST_F(SmartAlbumsTest, comparesFlagsAndRatings) {
  photo("plain");
  photo("flagged", Dictionary{{"isFlagged", 1}, {"mainRating", 2}});
  photo("good", Dictionary{{"isFlagged", 0}, {"mainRating", 4}});
  photo("rejected", Dictionary{{"mainRating", -1}});
  EXPECT_THAT(membersOfRule(all({flagged()})), ElementsAre("flagged"));
  EXPECT_THAT(membersOfRule(all({clause(22, "isFlagged", 6, 1)})), ElementsAre("plain", "good", "rejected"));
  EXPECT_THAT(membersOfRule(all({clause(22, "isFlagged", 40, true)})), ElementsAre("flagged"));
  EXPECT_THAT(membersOfRule(all({clause(22, "isFlagged", 41, true)})),
              ElementsAre("plain", "good", "rejected"));
  EXPECT_THAT(membersOfRule(all({ratedAtLeast(2)})), ElementsAre("flagged", "good"));
  EXPECT_THAT(membersOfRule(all({ratedAtLeast(-1)})), ElementsAre("plain", "flagged", "good", "rejected"));
  EXPECT_THAT(membersOfRule(all({clause(5, "basicProperties.MainRating", 5, -1)})), ElementsAre("rejected"));
  EXPECT_THAT(membersOfRule(all({clause(5, "basicProperties.MainRating", 6, 0)})),
              ElementsAre("flagged", "good", "rejected"));
}

TEST_F(SmartAlbumsTest, joinsTheEnabledParts) {
  photo("plain");
  photo("flagged", Dictionary{{"isFlagged", 1}});
  photo("good", Dictionary{{"mainRating", 4}});
  photo("both", Dictionary{{"isFlagged", 1}, {"mainRating", 5}});
  EXPECT_THAT(membersOfRule(all({flagged(), ratedAtLeast(4)})), ElementsAre("both"));
  EXPECT_THAT(membersOfRule(any({flagged(), ratedAtLeast(4)})), ElementsAre("flagged", "good", "both"));
  EXPECT_THAT(
      membersOfRule(all({flagged(), any({ratedAtLeast(5), clause(5, "basicProperties.MainRating", 5, 0)})})),
      ElementsAre("flagged", "both"));
  const Value off = clause(5, "basicProperties.MainRating", 8, 0, false);
  EXPECT_THAT(membersOfRule(any({off, flagged()})), ElementsAre("flagged", "both"));
  EXPECT_THAT(membersOfRule(any({off, group(0, {}, false)})),
              ElementsAre("plain", "flagged", "good", "both"));
}

TEST_F(SmartAlbumsTest, comparesDates) {
  const LocalTimeZone utc("UTC");
  photo("undated");
  photo("before", Dictionary{{"imageDate", kSummerDay - 1}});
  photo("morning", Dictionary{{"imageDate", kSummerDay}});
  photo("night", Dictionary{{"imageDate", kSummerDay + kDay - 1}});
  photo("after", Dictionary{{"imageDate", kSummerDay + kDay}});
  EXPECT_THAT(membersOfRule(all({between("7/12/2016 UTC", "7/12/2016 UTC")})),
              ElementsAre("morning", "night"));
  EXPECT_THAT(membersOfRule(all({between("7/11/2016 UTC", "7/12/2016 UTC")})),
              ElementsAre("before", "morning", "night"));
  EXPECT_THAT(membersOfRule(all({clause(6, "exifProperties.ImageDate", 8, "7/12/2016 UTC")})),
              ElementsAre("morning", "night", "after"));
  EXPECT_THAT(membersOfRule(all({clause(6, "exifProperties.ImageDate", 6, "7/12/2016 UTC")})),
              ElementsAre("undated", "before", "after"));
  EXPECT_THAT(membersOfRule(all({clause(6, "exifProperties.ImageDate", 1)})),
              ElementsAre("before", "morning", "night", "after"));
}

TEST_F(SmartAlbumsTest, followsTheDayWithRelativeDates) {
  const LocalTimeZone utc("UTC");
  clock.set({kSummerDay + kDay / 2});
  photo("old", Dictionary{{"imageDate", kSummerDay - 3 * kDay}});
  photo("yesterday", Dictionary{{"imageDate", kSummerDay - 1}});
  smartAlbum("s", all({inTheLast(1, "days")}));
  EXPECT_THAT(membersOf("s"), ElementsAre("yesterday"));
  clock.advance(kDay);
  EXPECT_THAT(membersOf("s"), IsEmpty());
}

TEST_F(SmartAlbumsTest, looksUpNumbersOfPhotos) {
  const std::int64_t here = photo("here");
  const std::int64_t there = photo("there");
  photo("nowhere");
  for (const std::int64_t id : {here, there}) number(id, "Latitude", 47.5);
  number(here, "Longitude", 8.25);
  number(here, "ISOSpeedRating", 400);
  EXPECT_THAT(membersOfRule(all({clause(9, "Longitude", 1), clause(9, "Latitude", 1)})), ElementsAre("here"));
  EXPECT_THAT(membersOfRule(any({clause(9, "Longitude", 1), clause(9, "Latitude", 1)})),
              ElementsAre("here", "there"));
  EXPECT_THAT(membersOfRule(all({clause(9, "exifProperties.ISOSpeedRating", 8, 400)})), ElementsAre("here"));
  EXPECT_THAT(membersOfRule(all({clause(9, "exifProperties.ISOSpeedRating", 8, 401)})), IsEmpty());
  EXPECT_THAT(membersOfRule(all({clause(9, "exifProperties.ISOSpeedRating", 6, 400)})),
              ElementsAre("there", "nowhere"));
}

TEST_F(SmartAlbumsTest, searchesTextsWithoutCaseAndAccents) {
  const std::int64_t beach = photo("beach", Dictionary{{"name", "Am Strand"}});
  const std::int64_t town = photo("town", Dictionary{{"fileName", "IMG_1.JPG"}});
  text("RKIptcProperty", beach, "Headline", "La Plage en Été");
  text("RKExifStringProperty", town, "ImageDescription", "Altstadt");
  text("RKOtherProperty", town, "Place", "Bern");
  EXPECT_THAT(membersOfRule(all({clause(14, "properties.any", 23, "ete")})), ElementsAre("beach"));
  EXPECT_THAT(membersOfRule(all({clause(14, "properties.any", 23, "STADT")})), ElementsAre("town"));
  EXPECT_THAT(membersOfRule(all({clause(14, "properties.any", 23, "bern")})), ElementsAre("town"));
  EXPECT_THAT(membersOfRule(all({clause(14, "iptcProperties.Headline", 5, "la plage EN ete")})),
              ElementsAre("beach"));
  EXPECT_THAT(membersOfRule(all({clause(14, "iptcProperties.Headline", 6, "la plage EN ete")})),
              ElementsAre("town"));
  EXPECT_THAT(membersOfRule(all({clause(14, "exifProperties.ImageDescription", 23, "alt")})),
              ElementsAre("town"));
  EXPECT_THAT(membersOfRule(all({clause(14, "basicProperties.Place", 5, "BERN")})), ElementsAre("town"));
  EXPECT_THAT(membersOfRule(all({clause(14, "basicProperties.VersionName", 23, "strand")})),
              ElementsAre("beach"));
  EXPECT_THAT(membersOfRule(all({clause(14, "basicProperties.FileName", 23, "img")})), ElementsAre("town"));
}

TEST_F(SmartAlbumsTest, searchesKeywords) {
  files.execute(
      DatabaseFile::Library,
      "CREATE TABLE RKKeyword(modelId integer primary key,name varchar,searchName varchar);"
      "CREATE TABLE RKKeywordForVersion(modelId integer primary key,versionId integer,keywordId integer);"
      "INSERT INTO RKKeyword VALUES(5,'Été','été'); INSERT INTO RKKeywordForVersion VALUES(1,2,5)");
  photo("one");
  photo("two");
  EXPECT_THAT(membersOfRule(all({clause(14, "properties.any", 23, "ETE")})), ElementsAre("two"));
}

TEST_F(SmartAlbumsTest, knowsNamedFacesInEitherDatabase) {
  constexpr const char* kTable =
      "CREATE TABLE RKVersionFaceContent(modelId integer primary key,versionId integer,isNamed integer);"
      "INSERT INTO RKVersionFaceContent VALUES(1,2,1),(2,1,0),(3,2,1)";
  photo("one");
  photo("two");
  EXPECT_THAT(membersOfRule(all({clause(40, "name", 61)})), IsEmpty());
  EXPECT_EQ(sourceOf("rule 1"), Source::CertainPart) << "there is no table";
  opened->nextCommand();
  files.execute(DatabaseFile::Faces, kTable);
  EXPECT_THAT(membersOf("rule 1"), ElementsAre("two"));
  opened->nextCommand();
  files.execute(DatabaseFile::Library, kTable);
  EXPECT_THAT(membersOf("rule 1"), ElementsAre("two"));
}

TEST_F(SmartAlbumsTest, listsOnlyPhotosThatAreShown) {
  folder("in the trash", "1/2/", 1, Dictionary{{"isInTrash", 1}});
  folder("below", "1/2/3/", 2);
  folder("beside", "1/20/", 2);
  photo("shown", Dictionary{{"projectUuid", "beside"}});
  photo("hidden", Dictionary{{"isHidden", 1}});
  photo("original", Dictionary{{"showInLibrary", 0}});
  photo("deleted", Dictionary{{"isInTrash", 1}});
  photo("below a deleted folder", Dictionary{{"projectUuid", "below"}});
  smartAlbum("s", all({}));
  smartAlbum("trashAlbum", all({}));
  EXPECT_THAT(membersOf("s"), ElementsAre("shown", "hidden"));
  EXPECT_THAT(membersOf("trashAlbum"), ElementsAre("deleted"));
  opened->defaults.setString("HideHidden", "YES");
  EXPECT_THAT(membersOf("s"), ElementsAre("shown"));
}

TEST_F(SmartAlbumsTest, isLimitedToAFolderOrProject) {
  folder("f", "1/2/");
  folder("p", "1/2/3/", 2);
  photo("in p", Dictionary{{"projectUuid", "p"}});
  const std::int64_t inAlbum = photo("in a");
  photo("elsewhere");
  member(album("a", Dictionary{{"folderUuid", "f"}}), inAlbum);
  smartAlbum("of p", all({}), Dictionary{{"queryFolderUuid", "p"}});
  smartAlbum("of f", all({}), Dictionary{{"queryFolderUuid", "f"}});
  smartAlbum("of none", all({}), Dictionary{{"queryFolderUuid", "none"}});
  EXPECT_THAT(membersOf("of p"), ElementsAre("in p"));
  EXPECT_THAT(membersOf("of f"), ElementsAre("in p", "in a"));
  EXPECT_THAT(membersOf("of none"), IsEmpty());
  EXPECT_EQ(sourceOf("of none"), Source::CertainPart);
}

TEST_F(SmartAlbumsTest, keepsTheOrderOfThePhotoApplication) {
  photo("late", Dictionary{{"imageDate", 20}});
  photo("early", Dictionary{{"imageDate", 10}});
  smartAlbum("s", all({}));
  smartAlbum("descending", all({}), Dictionary{{"sortAscending", 0}});
  EXPECT_THAT(membersOf("s"), ElementsAre("early", "late"));
  EXPECT_THAT(membersOf("descending"), ElementsAre("late", "early"));
}

TEST_F(SmartAlbumsTest, listsWhatIsCertainAndSaysWhatIsNotUnderstood) {
  photo("plain");
  photo("flagged", Dictionary{{"isFlagged", 1}});
  smartAlbum("either", any({flagged(), notUnderstood()}));
  smartAlbum("both", all({flagged(), notUnderstood()}));
  smartAlbum("decided", all({clause(22, "isFlagged", 5, 7), notUnderstood()}));
  EXPECT_THAT(membersOf("either"), ElementsAre("flagged"));
  EXPECT_THAT(membersOf("both"), IsEmpty());
  EXPECT_EQ(smartAlbums().membersOf("either")->perhaps, 1u);
  EXPECT_EQ(smartAlbums().membersOf("both")->perhaps, 1u);
  EXPECT_EQ(sourceOf("decided"), Source::Rule) << "every photo is decided without the other clause";
  for (int i = 0; i < 3; ++i) {
    opened->nextCommand();
    photo("another " + std::to_string(i));
    static_cast<void>(membersOf("either"));
  }
  EXPECT_EQ(opened->messages.count("Info",
                                   "The smart album 'either' may lack photos. Not understood in its rule: "
                                   "'album' is 'some album'"),
            1);
  EXPECT_EQ(opened->messages.count("Info", "The smart album 'both'"), 1);
  EXPECT_EQ(opened->messages.count("Info", "The smart album 'decided'"), 0);
}

TEST_F(SmartAlbumsTest, doesNotUnderstandEveryClause) {
  photo("one", Dictionary{{"isFlagged", 1}});
  for (const Dictionary& odd :
       {clause(20, "basicProperties.ColorLabel", 5, 3), clause(14, "iptcProperties.Keywords", 23, "x"),
        clause(14, "exifProperties.Model", 5, "x"), clause(5, "basicProperties.MainRating", 99, 1),
        clause(5, "basicProperties.MainRating", 8), clause(14, "properties.any", 23),
        clause(14, "properties.any", 6, "x"), clause(6, "exifProperties.ImageDate", 20, "yesterday"),
        inTheLast(3, "moons"), clause(14, "it's", 23, "x"), with(flagged(), "queryClassName", "RKNewQuery"),
        group(7, {flagged()}), with(all({flagged()}), "queryStackPicksOnly", true)}) {
    EXPECT_THAT(membersOfRule(all({odd})), IsEmpty());
    EXPECT_EQ(smartAlbums().membersOf(lastRule)->perhaps, 1u);
  }
}

TEST_F(SmartAlbumsTest, reportsARuleThatCannotBeRead) {
  photo("one");
  album("s", Dictionary{{"albumSubclass", 2}, {"queryData", Bytes{1, 2, 3}}});
  EXPECT_THAT(membersOf("s"), IsEmpty());
  EXPECT_EQ(opened->messages.count(
                "Info", "The smart album 's' may lack photos. Not understood in its rule: its rule: "),
            1);
}

TEST_F(SmartAlbumsTest, usesTheSavedListWhenItIsUpToDate) {
  const std::int64_t one = photo("one");
  const std::int64_t two = photo("two", Dictionary{{"isFlagged", 1}});
  smartAlbum("s", all({flagged()}));
  smartAlbum("odd", all({notUnderstood()}));
  saveLists({{"allPhotosAlbum", {one, two}}, {"s", {two, one}}, {"odd", {one, 99}}});
  EXPECT_THAT(membersOf("s"), ElementsAre("two", "one"));
  EXPECT_EQ(sourceOf("s"), Source::SavedList);
  EXPECT_THAT(membersOf("odd"), ElementsAre("one"));
  EXPECT_THAT(opened->messages.lines, IsEmpty());
}

TEST_F(SmartAlbumsTest, usesAnOldSavedListOnlyForWhatTheRuleLeavesOpen) {
  const std::int64_t one = photo("one");
  photo("two", Dictionary{{"isFlagged", 1}});
  const std::int64_t deleted = photo("deleted", Dictionary{{"isInTrash", 1}});
  smartAlbum("s", all({flagged()}));
  smartAlbum("odd", all({notUnderstood()}));
  saveLists({{"allPhotosAlbum", {one}}, {"s", {one}}, {"odd", {deleted, one}}});
  EXPECT_THAT(membersOf("s"), ElementsAre("two"));
  EXPECT_EQ(sourceOf("s"), Source::Rule);
  EXPECT_THAT(membersOf("odd"), ElementsAre("one"));
  EXPECT_EQ(sourceOf("odd"), Source::OldSavedList);
  EXPECT_EQ(
      opened->messages.count("Info", "The smart album 'odd' is as the photo application last saved it."), 1);
}

TEST_F(SmartAlbumsTest, noticesChangesOfTheDatabases) {
  smartAlbum("s", all({clause(9, "Latitude", 1)}));
  const std::int64_t one = photo("one");
  EXPECT_THAT(membersOf("s"), IsEmpty());
  opened->nextCommand();
  number(one, "Latitude", 1);
  EXPECT_THAT(membersOf("s"), ElementsAre("one"));
  opened->nextCommand();
  files.execute(DatabaseFile::Library, "UPDATE RKVersion SET isInTrash = 1");
  EXPECT_THAT(membersOf("s"), IsEmpty());
}

TEST_F(SmartAlbumsTest, answersFromTheCacheWhileNothingChanges) {
  photo("one");
  smartAlbum("s", all({}));
  const SmartAlbumMembers* first = smartAlbums().membersOf("s");
  ASSERT_TRUE(first);
  const void* storage = first->photos.data();
  opened->nextCommand();
  EXPECT_EQ(smartAlbums().membersOf("s")->photos.data(), storage);
}

TEST_F(SmartAlbumsTest, readsNothingWhileDeferring) {
  photo("one");
  smartAlbum("s", all({}));
  smartAlbums().setDeferring(true);
  EXPECT_EQ(smartAlbums().membersOf("s"), nullptr);
  EXPECT_EQ(answers().doubtfulAnswers(), 1u);
  EXPECT_EQ(smartAlbums().membersOf("none"), nullptr);
  EXPECT_EQ(answers().doubtfulAnswers(), 1u);
  smartAlbums().setDeferring(false);
  EXPECT_THAT(membersOf("s"), ElementsAre("one"));
  smartAlbums().setDeferring(true);
  EXPECT_THAT(membersOf("s"), ElementsAre("one")) << "it is cached";
  EXPECT_EQ(answers().doubtfulAnswers(), 1u);
}

TEST_F(SmartAlbumsTest, areNeitherRegularAlbumsNorThoseWithoutARule) {
  album("regular");
  album("no rule", Dictionary{{"albumSubclass", 2}});
  EXPECT_THAT(membersOf("regular"), ElementsAre("none"));
  EXPECT_THAT(membersOf("no rule"), ElementsAre("none"));
}

TEST_F(SmartAlbumsTest, explainsAnAlbum) {
  const std::int64_t one = photo("one", Dictionary{{"fileName", "IMG_1.JPG"}});
  photo("two", Dictionary{{"isFlagged", 1}, {"fileName", "IMG_2.JPG"}});
  smartAlbum("s", all({flagged()}));
  smartAlbum("odd", any({flagged(), notUnderstood()}));
  saveLists({{"s", {one}}});
  const auto explain = [this](const char* uuid) {
    return explainAlbum(opened->databases, savedLists(), smartAlbums(), uuid);
  };
  smartAlbums();
  EXPECT_EQ(explain("s"),
            "The smart album 's' (s)\n\nThe rule:\nall of these are true:\n  it is flagged\n\n"
            "1 photo, by the rule.\nOnly in the saved list:\n  one  IMG_1.JPG\n"
            "Only by the rule:\n  two  IMG_2.JPG\n");
  EXPECT_THAT(
      explain("odd").value(),
      HasSubstr(
          "Not understood: 'album' is 'some album'\n\nCertain by the rule: 1 photo. Undecided: 1 photo."));
  EXPECT_FALSE(explain("none"));
}

}  // namespace
}  // namespace moxtel::test
