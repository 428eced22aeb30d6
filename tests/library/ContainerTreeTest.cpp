#include "library/ContainerTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/system/SystemLog.h"
#include "tests/StringTable.h"
#include "tests/fakes/RecordingPhotoApplication.h"
#include "tests/library/LocalTimeZone.h"
#include "tests/library/TestLibrary.h"

namespace moxtel {
namespace {

using test::keysOf;
using test::LocalTimeZone;
using test::OpenedLibrary;
using test::OtherProgram;
using test::RecordingPhotoApplication;
using test::TestLibrary;
using test::valuesOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// 2016-07-12 09:05:03 UTC and one day, in seconds since 2001-01-01 UTC.
constexpr std::int64_t kSummer = 490007103;
constexpr std::int64_t kDay = 86400;

class ContainerTreeTest : public testing::Test {
 protected:
  void folder(const std::string& uuid, Dictionary more, const char* parent = "P") {
    Dictionary row{{"uuid", uuid},
                   {"name", uuid},
                   {"folderType", 1},
                   {"isInTrash", 0},
                   {"parentFolderUuid", parent},
                   {"posterVersionUuid", "poster"},
                   {"versionCount", 0},
                   {"isHiddenWhenEmpty", 0}};
    for (const auto& entry : more) row.set(entry.key, entry.value);
    files.insert("RKFolder", row);
  }
  void project(const std::string& uuid, Dictionary more = Dictionary(), const char* parent = "P") {
    if (!more.contains("folderType")) more.set("folderType", 2);
    folder(uuid, more, parent);
  }
  void album(const std::string& uuid, Dictionary more = Dictionary(), const char* parent = "P") {
    Dictionary row{{"uuid", uuid},      {"name", uuid},         {"albumType", 1},
                   {"isInTrash", 0},    {"folderUuid", parent}, {"posterVersionUuid", "poster"},
                   {"versionCount", 3}, {"albumSubclass", 3}};
    for (const auto& entry : more) row.set(entry.key, entry.value);
    files.insert("RKAlbum", row);
  }
  void version(const char* uuid, const char* projectUuid, Value number = 1, Value inTrash = 0) {
    files.insert(
        "RKVersion",
        Dictionary{
            {"uuid", uuid}, {"projectUuid", projectUuid}, {"versionNumber", number}, {"isInTrash", inTrash}});
  }
  void order(Value object, Value number, const char* container = "P") {
    files.insert("RKCustomSortOrder",
                 Dictionary{{"containerUuid", container}, {"objectUuid", object}, {"orderNumber", number}});
  }
  void open() {
    opened.emplace(files);
    tree.emplace(opened->databases, application, opened->defaults);
  }
  Value list(const Value& parent = "P") {
    if (!tree) open();
    return tree->containersInParentUuid(parent);
  }

  LocalTimeZone utc{"UTC"};
  TestLibrary files;
  RecordingPhotoApplication application;
  std::optional<OpenedLibrary> opened;
  std::optional<ContainerTree> tree;
};

TEST_F(ContainerTreeTest, listsFoldersProjectsAndAlbumsOfOneParent) {
  folder("f", Dictionary{{"modelId", 11}});
  project("p", Dictionary{{"modelId", 12}});
  album("a", Dictionary{{"modelId", 13}});
  album("s", Dictionary{{"modelId", 14}, {"albumSubclass", 2}, {"versionCount", 9}});
  folder("elsewhere", Dictionary(), "Q");
  album("elsewhere too", Dictionary(), "Q");
  application.photoCounts["f"] = 5;
  const Value containers = list();
  ASSERT_EQ(containers.array().size(), 4U);
  EXPECT_EQ(containers.array()[0], Value(Dictionary{{"AlbumType", "Folder"},
                                                    {"AlbumName", "f"},
                                                    {"AlbumId", "f"},
                                                    {"ModelId", 11},
                                                    {"KeyPhotoKey", "poster"},
                                                    {"PhotoCount", 5}}));
  EXPECT_EQ(containers.array()[1], Value(Dictionary{{"AlbumType", "Project"},
                                                    {"AlbumName", "p"},
                                                    {"AlbumId", "p"},
                                                    {"ModelId", 12},
                                                    {"KeyPhotoKey", "poster"},
                                                    {"PhotoCount", 0}}));
  EXPECT_EQ(containers.array()[2], Value(Dictionary{{"AlbumType", "Album"},
                                                    {"AlbumName", "a"},
                                                    {"AlbumId", "a"},
                                                    {"ModelId", 13},
                                                    {"PhotoCount", 3},
                                                    {"IPAlbumType", "Regular"},
                                                    {"KeyPhotoKey", "poster"}}));
  EXPECT_EQ(containers.array()[3]["IPAlbumType"], Value("Smart"));
  EXPECT_EQ(containers.array()[3]["PhotoCount"], Value(9));
}

TEST_F(ContainerTreeTest, answersMutableArraysOfMutableDictionaries) {
  folder("f", Dictionary());
  album("a");
  const Value containers = list();
  EXPECT_TRUE(containers.array().isMutable());
  for (const Value& container : containers.array()) EXPECT_TRUE(container.dictionary().isMutable());
}

TEST_F(ContainerTreeTest, answersAnEmptyListForAParentThatIsUnknownOrMissing) {
  for (const Value& parent : {Value("nowhere"), Value(), Value(7), Value("it's"), Value(Array{1, 2})}) {
    const Value containers = list(parent);
    ASSERT_TRUE(containers.isArray()) << parent.string();
    EXPECT_TRUE(containers.array().empty());
  }
}

TEST_F(ContainerTreeTest, answersNoListWithoutTheLibraryDatabase) {
  files.remove(DatabaseFile::Library);
  EXPECT_TRUE(list().isNil());
}

TEST_F(ContainerTreeTest, leavesOutWhatIsInTheTrash) {
  folder("f", Dictionary{{"isInTrash", 1}});
  album("a", Dictionary{{"isInTrash", 1}});
  folder("unknown", Dictionary{{"isInTrash", Value()}});
  EXPECT_THAT(list().array().items(), IsEmpty());
}

TEST_F(ContainerTreeTest, countsWhatItLeavesOut) {
  folder("hidden", Dictionary{{"isHiddenWhenEmpty", 1}});
  folder("shown", Dictionary());
  project("hidden project", Dictionary{{"isHiddenWhenEmpty", 1}});
  album("a");
  album("b", Dictionary{{"albumType", 2}});
  open();
  SystemLogCapture log;
  EXPECT_THAT(valuesOf(list(), "AlbumId"), ElementsAre(Value("shown"), Value("a")));
  EXPECT_TRUE(log.contains("In parentUuid 'P' I found 2 folders, 1 projects and 1 albums"));
}

TEST_F(ContainerTreeTest, showsNoProjectsBelowTheTopLevelOfAlbums) {
  project("p", Dictionary(), "TopLevelAlbums");
  folder("f", Dictionary(), "TopLevelAlbums");
  album("a", Dictionary(), "TopLevelAlbums");
  open();
  SystemLogCapture log;
  EXPECT_THAT(valuesOf(tree->getTopLevelAlbums(), "AlbumId"), ElementsAre(Value("f"), Value("a")));
  EXPECT_TRUE(log.contains("In parentUuid 'TopLevelAlbums' I found 1 folders, 1 projects and 1 albums"));
}

TEST_F(ContainerTreeTest, readsNoAlbumsBelowAllProjects) {
  project("p", Dictionary(), "AllProjectsItem");
  album("a", Dictionary(), "AllProjectsItem");
  open();
  SystemLogCapture log;
  EXPECT_THAT(valuesOf(tree->getTopLevelProjects(), "AlbumId"), ElementsAre(Value("p")));
  EXPECT_TRUE(log.contains("In parentUuid 'AllProjectsItem' I found 0 folders, 1 projects and 0 albums"));
}

TEST_F(ContainerTreeTest, listsOnlyRegularAndSmartAlbums) {
  album("no subclass", Dictionary{{"albumSubclass", 1}});
  album("other type", Dictionary{{"albumType", 9}});
  album("nulls", Dictionary{{"albumType", Value()}, {"albumSubclass", Value()}});
  album("regular");
  EXPECT_THAT(valuesOf(list(), "AlbumId"), ElementsAre(Value("regular")));
}

TEST_F(ContainerTreeTest, neverListsTheFourteenBuiltInAlbums) {
  for (const char* name :
       {"libraryFolderImplicitAlbum", "allProjectsAlbum", "trashAlbum", "flaggedAlbum", "lastImportAlbum",
        "rejectedAlbum", "lastNMonthsAlbum", "eventFilterBarAlbum", "allPlacedPhotosAlbum", "peopleAlbum",
        "peopleFilterBarAlbum", "placesFilterBarAlbum", "rotationAlbum", "Faces"})
    album(name);
  album("allPhotosAlbum");
  album("faces");
  EXPECT_THAT(valuesOf(list(), "AlbumId"), ElementsAre(Value("allPhotosAlbum"), Value("faces")));
}

TEST_F(ContainerTreeTest, namesAnUnnamedProjectAfterTheDayOfItsFirstPhoto) {
  project("none", Dictionary{{"name", Value()}});
  project("zero", Dictionary{{"name", ""}, {"minImageDate", 0}, {"maxImageDate", kSummer}});
  project("equal", Dictionary{{"name", ""}, {"minImageDate", kSummer}, {"maxImageDate", kSummer}});
  project("differ", Dictionary{{"name", ""}, {"minImageDate", kSummer}, {"maxImageDate", kSummer + kDay}});
  project("fraction", Dictionary{{"name", ""}, {"minImageDate", 0.9}, {"maxImageDate", 0.9}});
  EXPECT_THAT(valuesOf(list(), "AlbumName"),
              ElementsAre(Value("-"), Value("-"), Value("2016-07-12"), Value("2016-07-12"), Value("-")));
}

TEST_F(ContainerTreeTest, showsBothDaysWhenTheUserWantsThem) {
  project("equal", Dictionary{{"name", ""}, {"minImageDate", kSummer}, {"maxImageDate", kSummer}});
  project("differ", Dictionary{{"name", ""}, {"minImageDate", kSummer}, {"maxImageDate", kSummer + kDay}});
  project("no end", Dictionary{{"name", ""}, {"minImageDate", kSummer}, {"maxImageDate", Value()}});
  project("named", Dictionary{{"minImageDate", kSummer}, {"maxImageDate", kSummer + kDay}});
  open();
  opened->defaults.setBool("ApertureFolderMinMaxDate", true);
  EXPECT_THAT(valuesOf(list(), "AlbumName"),
              ElementsAre(Value("2016-07-12"), Value("2016-07-12 \xE2\x80\xA6 2016-07-13"),
                          Value("2016-07-12 \xE2\x80\xA6 2001-01-01"), Value("named")));
}

TEST_F(ContainerTreeTest, takesTheDayOfTheLocalTimeZone) {
  const LocalTimeZone kiritimati("<+14>-14");
  project("p", Dictionary{{"name", ""}, {"minImageDate", kSummer + 3600}});
  EXPECT_EQ(list().array()[0]["AlbumName"], Value("2016-07-13"));
}

TEST_F(ContainerTreeTest, writesTheDayInTheUsersPattern) {
  test::setStringTable({{"yyyy-MM-dd", "dd.MM.yyyy"}});
  project("p", Dictionary{{"name", ""}, {"minImageDate", kSummer}});
  EXPECT_EQ(list().array()[0]["AlbumName"], Value("12.07.2016"));
  setTranslator({});
}

TEST_F(ContainerTreeTest, logsDatesBeforeTheReferenceDate) {
  project("p", Dictionary{{"name", ""}, {"minImageDate", -kDay}, {"maxImageDate", -kDay}});
  open();
  SystemLogCapture log;
  EXPECT_EQ(list().array()[0]["AlbumName"], Value("2000-12-31"));
  EXPECT_TRUE(log.contains("minImageDate '-86400': 2000-12-31 00:00:00 +0000"));
}

TEST_F(ContainerTreeTest, survivesDatesThatNoCalendarHas) {
  opened.reset();
  for (const Value& date : {Value(INT64_MAX), Value(INT64_MIN), Value(1e300), Value(-1e300), Value("soon")})
    project("p", Dictionary{{"name", ""}, {"minImageDate", date}, {"maxImageDate", date}});
  const Value containers = list();
  ASSERT_EQ(containers.array().size(), 5U);
  for (const Value& container : containers.array()) EXPECT_FALSE(container["AlbumName"].string().empty());
  EXPECT_EQ(containers.array()[4]["AlbumName"], Value("-"));
}

TEST_F(ContainerTreeTest, keepsAnAlbumsNameUnchanged) {
  album("empty", Dictionary{{"name", ""}});
  album("none", Dictionary{{"name", Value()}});
  const Value containers = list();
  EXPECT_EQ(containers.array()[0]["AlbumName"], Value(""));
  EXPECT_FALSE(containers.array()[1].dictionary().contains("AlbumName"));
}

TEST_F(ContainerTreeTest, logsAFolderOfAnUnknownTypeAndListsItWithoutAType) {
  folder("odd", Dictionary{{"folderType", 7}, {"name", "Odd %@ one"}});
  open();
  SystemLogCapture log;
  const Value containers = list();
  EXPECT_THAT(keysOf(containers.array()[0]),
              ElementsAre("AlbumName", "AlbumId", "ModelId", "KeyPhotoKey", "PhotoCount"));
  EXPECT_TRUE(log.contains("containersInParentUuid 'P' found new folder 'Odd %@ one' with folderType 7"));
  EXPECT_TRUE(log.contains("In parentUuid 'P' I found 0 folders, 0 projects and 0 albums"));
  EXPECT_THAT(application.questions, ElementsAre("count folder odd 1"));
}

TEST_F(ContainerTreeTest, listsRowsOfNothingButNulls) {
  files.insert("RKFolder", Dictionary{{"parentFolderUuid", "P"}, {"isInTrash", 0}});
  files.insert("RKFolder", Dictionary{{"parentFolderUuid", "P"}, {"isInTrash", 0}, {"folderType", 2}});
  files.insert("RKAlbum",
               Dictionary{{"folderUuid", "P"}, {"isInTrash", 0}, {"albumType", 1}, {"albumSubclass", 3}});
  const Value containers = list();
  ASSERT_EQ(containers.array().size(), 3U);
  EXPECT_THAT(keysOf(containers.array()[0]), ElementsAre("AlbumName", "ModelId", "PhotoCount"));
  EXPECT_THAT(keysOf(containers.array()[1]), ElementsAre("AlbumType", "AlbumName", "ModelId", "PhotoCount"));
  EXPECT_THAT(keysOf(containers.array()[2]),
              ElementsAre("AlbumType", "ModelId", "PhotoCount", "IPAlbumType"));
}

TEST_F(ContainerTreeTest, believesACountOfThreeAndAsksForSmallerOnes) {
  album("two", Dictionary{{"versionCount", 2}, {"modelId", 5}});
  album("three");
  album("null", Dictionary{{"versionCount", Value()}, {"modelId", 7}});
  album("negative", Dictionary{{"versionCount", -4}, {"modelId", 8}});
  application.photoCounts["two"] = 17;
  const Value containers = list();
  EXPECT_THAT(application.questions,
              ElementsAre("count album two 5", "count album null 7", "count album negative 8"));
  EXPECT_THAT(valuesOf(containers, "PhotoCount"),
              UnorderedElementsAre(Value(17), Value(3), Value(0), Value(0)));
}

TEST_F(ContainerTreeTest, countsAProjectsVisibleVersions) {
  project("p");
  version("original", "p", 0);
  version("seen", "p", 1);
  version("duplicate", "p", 2);
  version("trashed", "p", 1, 1);
  version("odd", "p", Value());
  version("other", "q");
  files.insert("RKVersion", Dictionary{{"projectUuid", "p"}, {"versionNumber", 1}, {"isInTrash", 0}});
  EXPECT_EQ(list().array()[0]["PhotoCount"], Value(2));
  EXPECT_THAT(application.questions, IsEmpty());
}

TEST_F(ContainerTreeTest, rejectsAListThatIsTooLarge) {
  for (int i = 0; i < 30; ++i) album("album " + std::to_string(i));
  files.insert("RKNote", Dictionary{{"attachedToUuid", "album 3"}, {"note", std::string(5000, 'n')}});
  open();
  const auto listed = [this](std::uint64_t largest) {
    ContainerTree bounded(opened->databases, application, opened->defaults, largest);
    return bounded.containersInParentUuid("P").array().size();
  };
  EXPECT_EQ(listed(10'000), 30U);
  EXPECT_THROW(listed(4'900), ArchiveTooLargeError) << "for the note";
  EXPECT_THROW(listed(3'000), ArchiveTooLargeError);
  EXPECT_EQ(opened->databases.databaseOpenCount(), 0);
}

// A million albums would otherwise have a million lists of the same keys.
TEST_F(ContainerTreeTest, sharesTheKeysOfContainersOfOneKind) {
  for (int i = 0; i < 4; ++i) album("album " + std::to_string(i), Dictionary{{"versionCount", i * 3}});
  order("album 1", 8);
  order("album 2", 9);
  const Value containers = list();
  const auto identity = [&](std::size_t place) {
    return containers.array()[place].dictionary().keysIdentity();
  };
  EXPECT_EQ(identity(0), identity(1));
  EXPECT_EQ(identity(2), identity(3));
  EXPECT_EQ(keysOf(containers.array()[3]).back(), "OrderNumber");
  EXPECT_NE(identity(0), identity(2));
}

// Without a type, and as a text, a column keeps '0' as a text.
TEST_F(ContainerTreeTest, countsVersionsWhateverTheTypeOfIsInTrash) {
  for (const char* type : {"integer", "varchar", "", "varchar COLLATE RTRIM"}) {
    files.execute(DatabaseFile::Library,
                  "DROP TABLE RKVersion; CREATE TABLE RKVersion(modelId integer primary key, uuid varchar, "
                  "projectUuid varchar, versionNumber integer, isInTrash " +
                      std::string(type) +
                      "); CREATE INDEX RKVersion_isInTrash_index on RKVersion(isInTrash); CREATE INDEX "
                      "RKVersion_projectUuid_imageDate_index on RKVersion(projectUuid, modelId);"
                      "DELETE FROM RKFolder");
    project("p");
    version("number", "p", 1, 0);
    version("text", "p", 1, "0");
    version("text with a blank", "p", 1, "0 ");
    version("trashed", "p", 1, "1");
    version("unknown", "p", 1, Value());
    open();
    Query quoted = opened->databases.run(
        DatabaseFile::Library,
        "SELECT COUNT(uuid) FROM RKVersion WHERE projectUuid = '%@' AND versionNumber != 0 AND isInTrash = 0",
        {"p"});
    ASSERT_TRUE(quoted.step());
    EXPECT_GT(quoted.integerColumn(0), 0);
    EXPECT_EQ(list().array()[0]["PhotoCount"], quoted.integerNumberColumn(0)) << type;
    opened->nextCommand();
  }
}

TEST_F(ContainerTreeTest, logsACountThatCannotBePreparedAndTakesItForZero) {
  project("p");
  files.execute(DatabaseFile::Library, "DROP TABLE RKVersion");
  open();
  SystemLogCapture log;
  EXPECT_EQ(list().array()[0]["PhotoCount"], Value(0));
  EXPECT_THAT(
      log.lines(),
      ElementsAre("could not prepare query 'SELECT COUNT(uuid) FROM RKVersion WHERE projectUuid = 'p' "
                  "AND versionNumber != 0 AND isInTrash = 0'",
                  "In parentUuid 'P' I found 0 folders, 1 projects and 0 albums"));
}

TEST_F(ContainerTreeTest, asksForAnAlbumsKeyPhotoInTheDatabaseFirst) {
  const Dictionary noPoster{{"posterVersionUuid", Value()}};
  album("database", noPoster);
  album("script", noPoster);
  album("neither", noPoster);
  application.keyPhotosInDatabase["database"] = "d";
  application.keyPhotosByScript["script"] = "s";
  const Value containers = list();
  EXPECT_THAT(valuesOf(containers, "KeyPhotoKey"), ElementsAre(Value("d"), Value("s"), Value()));
  EXPECT_THAT(application.questions,
              ElementsAre("key of album database by database", "key of album script by database",
                          "key of album script by script", "key of album neither by database",
                          "key of album neither by script"));
}

TEST_F(ContainerTreeTest, asksForAProjectsKeyPhotoByScriptOnly) {
  project("p", Dictionary{{"posterVersionUuid", Value()}});
  version("v", "p");
  application.keyPhotosByScript["p"] = "k";
  EXPECT_EQ(list().array()[0]["KeyPhotoKey"], Value("k"));
  EXPECT_THAT(application.questions, ElementsAre("key of project p by script"));
}

TEST_F(ContainerTreeTest, asksForNoKeyPhotoOfWhatIsEmptyNamelessOrAFolder) {
  const Dictionary noPoster{{"posterVersionUuid", Value()}};
  project("empty", noPoster);
  folder("folder", noPoster);
  application.photoCounts["folder"] = 4;
  album("nameless", Dictionary{{"posterVersionUuid", Value()}, {"name", Value()}});
  album("zero", Dictionary{{"posterVersionUuid", Value()}, {"versionCount", 0}, {"modelId", 9}});
  list();
  EXPECT_THAT(application.questions, UnorderedElementsAre("count folder folder 2", "count album zero 9"));
}

TEST_F(ContainerTreeTest, addsTheFirstNoteWhenItHasText) {
  album("a");
  album("b");
  files.insert("RKNote", Dictionary{{"attachedToUuid", "a"}, {"note", "Grüße an \"alle\""}});
  files.insert("RKNote", Dictionary{{"attachedToUuid", "a"}, {"note", "second"}});
  files.insert("RKNote", Dictionary{{"attachedToUuid", "b"}, {"note", ""}});
  files.insert("RKNote", Dictionary{{"attachedToUuid", "b"}, {"note", "second"}});
  open();
  SystemLogCapture log;
  EXPECT_THAT(valuesOf(list(), "Note"), ElementsAre(Value("Grüße an \"alle\""), Value()));
  EXPECT_TRUE(log.contains("Found note for Album/Folder 'a': 'Grüße an \"alle\"'"));
}

TEST_F(ContainerTreeTest, sortsByTheUsersOrderWithMissingNumbersAsZero) {
  for (const char* name : {"late", "none", "early", "first"}) folder(name, Dictionary());
  order("late", 9);
  order("early", 1);
  order("first", -3);
  order("stranger", 2);
  order(Value(), 4);
  order("none", 8, "Q");
  const Value containers = list();
  EXPECT_THAT(valuesOf(containers, "AlbumId"),
              ElementsAre(Value("first"), Value("none"), Value("early"), Value("late")));
  EXPECT_THAT(valuesOf(containers, "OrderNumber"), ElementsAre(Value(-3), Value(), Value(1), Value(9)));
}

TEST_F(ContainerTreeTest, givesTheNumberToTheFirstOfTwoContainersWithOneUuid) {
  folder("same", Dictionary{{"name", "one"}});
  album("same", Dictionary{{"name", "two"}});
  order("same", 5);
  order("same", 6);
  const Value containers = list();
  EXPECT_THAT(valuesOf(containers, "AlbumName"), ElementsAre(Value("two"), Value("one")));
  EXPECT_THAT(valuesOf(containers, "OrderNumber"), ElementsAre(Value(), Value(6)));
}

TEST_F(ContainerTreeTest, sortsThousandsOfTies) {
  std::string rows =
      "INSERT INTO RKFolder(uuid,name,folderType,parentFolderUuid,isInTrash) VALUES ('f','f',1,'P',0)";
  for (int i = 0; i < 2000; ++i) rows += ",('f" + std::to_string(i) + "','f',1,'P',0)";
  files.execute(DatabaseFile::Library, rows);
  order("f7", 1);
  const Value containers = list();
  ASSERT_EQ(containers.array().size(), 2001U);
  EXPECT_EQ(containers.array()[2000]["AlbumId"], Value("f7"));
}

TEST_F(ContainerTreeTest, takesUuidsWithPercentSignsAndUnicodeAsTheyAre) {
  folder("Tn%h%CuhQruD8VQ5zVgy8g", Dictionary{{"name", "Ünïcödé 日本 🗻 %@"}});
  folder("inside", Dictionary(), "Tn%h%CuhQruD8VQ5zVgy8g");
  EXPECT_EQ(list().array()[0]["AlbumName"], Value("Ünïcödé 日本 🗻 %@"));
  EXPECT_THAT(valuesOf(list("Tn%h%CuhQruD8VQ5zVgy8g"), "AlbumId"), ElementsAre(Value("inside")));
}

TEST_F(ContainerTreeTest, neverTakesAParentForSql) {
  folder("f", Dictionary());
  open();
  SystemLogCapture log;
  EXPECT_THAT(list("x' OR '1'='1").array().items(), IsEmpty());
  EXPECT_TRUE(log.contains(
      "could not prepare query 'SELECT name,uuid,folderType,modelId,posterVersionUuid,minImageDate,"
      "maxImageDate,isHiddenWhenEmpty FROM RKFolder WHERE parentFolderUuid = 'x' OR '1'='1' AND isInTrash = "
      "0'"));
}

TEST_F(ContainerTreeTest, keepsTheTopLevelListsUntilTheyAreDropped) {
  project("p", Dictionary(), "AllProjectsItem");
  open();
  EXPECT_EQ(tree->getTopLevelProjects().array().size(), 1U);
  EXPECT_TRUE(tree->getTopLevelAlbums().array().empty());
  opened->nextCommand();
  project("q", Dictionary(), "AllProjectsItem");
  album("a", Dictionary(), "TopLevelAlbums");
  EXPECT_EQ(tree->getTopLevelProjects().array().size(), 1U);
  EXPECT_TRUE(tree->getTopLevelAlbums().array().empty());
  EXPECT_EQ(tree->containersInParentUuid("AllProjectsItem").array().size(), 2U);
  tree->dropCaches();
  EXPECT_EQ(tree->getTopLevelProjects().array().size(), 2U);
  EXPECT_EQ(tree->getTopLevelAlbums().array().size(), 1U);
}

TEST_F(ContainerTreeTest, keepsNoListFromADatabaseThatCouldNotBeOpened) {
  project("p", Dictionary(), "AllProjectsItem");
  open();
  const std::string path = files.pathOf(DatabaseFile::Library);
  std::filesystem::rename(path, path + ".away");
  EXPECT_TRUE(tree->getTopLevelProjects().isNil());
  opened->nextCommand();
  const Value second = tree->getTopLevelProjects();
  EXPECT_TRUE(second.isArray());
  EXPECT_TRUE(second.array().empty());
  std::filesystem::rename(path + ".away", path);
  opened->nextCommand();
  EXPECT_EQ(tree->getTopLevelProjects().array().size(), 1U);
  opened->nextCommand();
  EXPECT_EQ(tree->getTopLevelProjects().array().size(), 1U);
}

TEST_F(ContainerTreeTest, keepsNoListOfWhichATableWasMissing) {
  project("p", Dictionary(), "AllProjectsItem");
  files.execute(DatabaseFile::Library, "ALTER TABLE RKNote RENAME TO gone");
  open();
  SystemLogCapture log;
  EXPECT_EQ(tree->getTopLevelProjects().array().size(), 1U);
  EXPECT_TRUE(log.contains("could not prepare query 'SELECT note FROM RKNote WHERE attachedToUuid = 'p''"));
  opened->nextCommand();
  files.execute(DatabaseFile::Library, "ALTER TABLE gone RENAME TO RKNote");
  files.insert("RKNote", Dictionary{{"attachedToUuid", "p"}, {"note", "back"}});
  EXPECT_EQ(tree->getTopLevelProjects().array()[0]["Note"], Value("back"));
}

TEST_F(ContainerTreeTest, keepsNoListWithADoubtfulAnswer) {
  album("a", Dictionary{{"versionCount", 0}}, "TopLevelAlbums");
  application.onQuestion = [this] { ++application.doubtful; };
  open();
  EXPECT_EQ(tree->getTopLevelAlbums().array()[0]["PhotoCount"], Value(0));
  application.onQuestion = [] {};
  application.photoCounts["a"] = 7;
  EXPECT_EQ(tree->getTopLevelAlbums().array()[0]["PhotoCount"], Value(7));
  application.photoCounts["a"] = 8;
  EXPECT_EQ(tree->getTopLevelAlbums().array()[0]["PhotoCount"], Value(7)) << "without doubt it is kept";
}

TEST_F(ContainerTreeTest, findsContainersOfTheTopLevelByUuid) {
  album("a", Dictionary{{"name", "first"}}, "TopLevelAlbums");
  album("a", Dictionary{{"name", "second"}}, "TopLevelAlbums");
  album("4711", Dictionary(), "TopLevelAlbums");
  folder("f", Dictionary(), "TopLevelAlbums");
  album("inside", Dictionary(), "f");
  project("p", Dictionary(), "AllProjectsItem");
  open();
  EXPECT_EQ(tree->albumDictWithUuid("a")["AlbumName"], Value("first"));
  EXPECT_EQ(tree->albumDictWithUuid(4711)["AlbumName"], Value("4711"));
  EXPECT_TRUE(tree->albumDictWithUuid("inside").isNil());
  EXPECT_TRUE(tree->albumDictWithUuid("p").isNil());
  EXPECT_TRUE(tree->albumDictWithUuid(Value()).isNil());
  EXPECT_EQ(tree->projectDictWithUuid("p")["AlbumType"], Value("Project"));
  EXPECT_TRUE(tree->projectDictWithUuid("a").isNil());
}

TEST_F(ContainerTreeTest, holdsNoLockWhileItAsksOnceTheAnswererReleasesThem) {
  album("a", Dictionary{{"versionCount", 1}});
  open();
  OtherProgram writer(files.pathOf(DatabaseFile::Library));
  application.onQuestion = [&] {
    opened->databases.releaseLocks();
    EXPECT_TRUE(writer.canWrite());
  };
  list();
  EXPECT_THAT(application.questions, ElementsAre("count album a 1"));
}

TEST_F(ContainerTreeTest, closesTheDatabaseWhenAnAnswerThrows) {
  album("a", Dictionary{{"versionCount", 1}});
  open();
  application.onQuestion = [] { throw std::runtime_error("no answer"); };
  EXPECT_THROW(list(), std::runtime_error);
  EXPECT_EQ(opened->databases.databaseOpenCount(), 0);
}

TEST_F(ContainerTreeTest, closesWhatItOpened) {
  album("a");
  list();
  EXPECT_EQ(opened->databases.databaseOpenCount(), 0);
}

TEST_F(ContainerTreeTest, listsAllAlbumsFlatForDiagnosis) {
  folder("f", Dictionary{{"versionCount", 4}, {"isInTrash", 1}}, "TopLevelAlbums");
  folder("deeper", Dictionary(), "f");
  album("a", Dictionary{{"versionCount", Value()}}, "f");
  album("s", Dictionary{{"albumSubclass", 2}, {"isInTrash", 1}});
  album("Faces");
  album("rotationAlbum");
  album("allPhotosAlbum", Dictionary{{"albumSubclass", 1}, {"name", "Photos"}});
  application.keyPhotosByScript["f"] = "k";
  application.keyPhotosInDatabase["a"] = "d";
  open();
  SystemLogCapture log;
  const Value albums = tree->albumsFromDB();
  EXPECT_THAT(valuesOf(albums, "AlbumId"), ElementsAre(Value("f"), Value("a"), Value("s"), Value("Faces")));
  EXPECT_EQ(albums.array()[0], Value(Dictionary{{"AlbumName", "f"},
                                                {"AlbumId", "f"},
                                                {"PhotoCount", 4},
                                                {"IPAlbumType", "Regular"},
                                                {"KeyPhotoKey", "k"}}));
  EXPECT_EQ(albums.array()[1], Value(Dictionary{{"AlbumType", "Album"},
                                                {"AlbumName", "a"},
                                                {"AlbumId", "a"},
                                                {"PhotoCount", 0},
                                                {"IPAlbumType", "Regular"},
                                                {"KeyPhotoKey", "d"}}));
  EXPECT_EQ(albums.array()[2]["IPAlbumType"], Value("Smart"));
  EXPECT_TRUE(log.contains("allPhotosAlbum: Photos, 1/1"));
  EXPECT_TRUE(log.contains("albums: " + describe(albums)));
  EXPECT_EQ(opened->databases.databaseOpenCount(), 0);
}

TEST_F(ContainerTreeTest, hasNoFlatListWithoutTheLibraryDatabase) {
  files.remove(DatabaseFile::Library);
  open();
  EXPECT_TRUE(tree->albumsFromDB().isNil());
}

}  // namespace
}  // namespace moxtel
