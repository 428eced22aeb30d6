#include "scripting/ScriptQueries.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <limits>

#include "library/PhotoRecords.h"
#include "library/albumdata/AlbumData.h"
#include "tests/StringTable.h"
#include "tests/fakes/RecordingPhotoApplication.h"
#include "tests/fakes/RecordingScriptRunner.h"
#include "tests/library/ServedLibrary.h"

namespace moxtel::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::string_view kHostile = "x\" of me\ndo shell script \"id";

class ScriptQueriesTest : public testing::Test {
 protected:
  TestLibrary files;
  ServedLibrary served{files.path()};
  AlbumData albumData{served.location, served.files, served.messages};
  RecordingScriptRunner runner;
  RecordingPhotoApplication fromFiles;
  ScriptQueries queries{served.location, served.databases, albumData, runner,
                        served.messages, served.flags,     fromFiles};

  void askAperture() { served.location.preferAperture = true; }
  static Dictionary container(Value uuid, std::int32_t modelId = 7) {
    return Dictionary{{"AlbumId", std::move(uuid)}, {"ModelId", modelId}};
  }
  // An older library's entries: "cached" with key photo and count, "empty" with a count of 0.
  void loadAlbumData() {
    std::ofstream(files.path() + "/AlbumData.xml")
        << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict><key>List of "
           "Albums</key><array>"
           "<dict><key>GUID</key><string>cached</string><key>KeyPhotoKey</key><string>X</string>"
           "<key>PhotoCount</key><integer>23</integer></dict>"
           "<dict><key>GUID</key><string>empty</string><key>PhotoCount</key><integer>0</integer></dict>"
           "</array></dict></plist>\n";
    albumData.loadAlbumData();
  }
  void album(std::int64_t modelId, int type = 1, int subclass = 3) {
    files.insert("RKAlbum", Dictionary{{"uuid", "a"},
                                       {"modelId", modelId},
                                       {"name", "Zoo"},
                                       {"albumType", type},
                                       {"albumSubclass", subclass}});
  }
  void member(std::int64_t albumId, std::int64_t versionId) {
    files.insert("RKAlbumVersion", Dictionary{{"albumId", albumId}, {"versionId", versionId}});
  }
  void version(std::int64_t modelId, const char* uuid) {
    files.insert("RKVersion", Dictionary{{"modelId", modelId}, {"uuid", uuid}});
  }
  static std::string failed(const std::string& source, const std::string& error = "broken") {
    return "AppleScript did not compile: \n------------------\n" + source +
           "\n-----------\n\nError: " + dictionary(error);
  }
  static std::string dictionary(const std::string& error) {
    return "{\n    NSAppleScriptErrorMessage = " + error + ";\n    NSAppleScriptErrorNumber = -2741;\n}";
  }
  static std::vector<std::string> texts(const std::vector<Text>& list) {
    std::vector<std::string> all;
    for (const Text& text : list) all.emplace_back(Value(text).string());
    return all;
  }
};

TEST_F(ScriptQueriesTest, asksIPhotoForAKeyPhoto) {
  runner.answers("photo");
  EXPECT_EQ(queries.keyPhotoOfProject(container("u"), true), Value("photo"));
  EXPECT_EQ(queries.keyPhotoOfAlbum(container("u"), true), Value("photo"));
  const char* script = "tell application \"iPhoto\" to id of some photo of album id 4294967303";
  EXPECT_THAT(runner.scripts, ElementsAre(script, script));
}

TEST_F(ScriptQueriesTest, asksApertureForAKeyPhoto) {
  askAperture();
  runner.answers("photo");
  EXPECT_EQ(queries.keyPhotoOfProject(container("u%d"), true), Value("photo"));
  EXPECT_EQ(queries.keyPhotoOfAlbum(container("u%@"), true), Value("photo"));
  EXPECT_THAT(
      runner.scripts,
      ElementsAre("tell application \"Aperture\"\n\ttry\n\t\tset anIV to some image version of folder id "
                  "\"u%d\"\n\t\tid of anIV\n\tend try\nend tell",
                  "tell application \"Aperture\"\n\ttry\n\t\tset anIV to some image version of album id "
                  "\"u%@\"\n\t\tid of anIV\n\tend try\nend tell"));
}

TEST_F(ScriptQueriesTest, asksIPhotoAsSoonAsItRunsWhateverIsPreferred) {
  askAperture();
  served.flags.connectedWithAperture = true;
  served.flags.connectedWithIPhoto = true;
  static_cast<void>(queries.keyPhotoOfProject(container("u"), true));
  EXPECT_THAT(runner.scripts, ElementsAre(HasSubstr("\"iPhoto\"")));
}

TEST_F(ScriptQueriesTest, asksIPhotoWhenApertureRunsButIsNotPreferred) {
  served.flags.connectedWithAperture = true;
  static_cast<void>(queries.photoCountOf("album", "u", 7));
  EXPECT_THAT(runner.scripts, ElementsAre(HasSubstr("\"iPhoto\"")));
}

TEST_F(ScriptQueriesTest, extendsTheSignOfModelIds) {
  static_cast<void>(queries.photoCountOf("album", "u", -1));
  static_cast<void>(queries.photoCountOf("album", "u", std::numeric_limits<std::int32_t>::min()));
  static_cast<void>(queries.photoCountOf("album", "u", std::numeric_limits<std::int32_t>::max()));
  EXPECT_THAT(runner.scripts,
              ElementsAre("tell application \"iPhoto\" to count of every photo of album id 4294967295",
                          "tell application \"iPhoto\" to count of every photo of album id 2147483648",
                          "tell application \"iPhoto\" to count of every photo of album id 6442450943"));
}

TEST_F(ScriptQueriesTest, alwaysAsksByScriptForAProject) {
  runner.answers("photo");
  const SystemLogCapture log;
  EXPECT_EQ(queries.keyPhotoOfProject(container("u"), false), Value("photo"));
  EXPECT_EQ(runner.scripts.size(), 1u);
  EXPECT_THAT(log.lines(), ElementsAre("keyPhotoOfProjectWithUuid: 'u' is 'photo'"));
}

TEST_F(ScriptQueriesTest, logsAProjectsKeyPhotoAlsoWhenThereIsNone) {
  const SystemLogCapture log;
  EXPECT_TRUE(queries.keyPhotoOfProject(container("u"), true).isNil());
  EXPECT_THAT(log.lines(), ElementsAre("keyPhotoOfProjectWithUuid: 'u' is '(null)'"));
}

TEST_F(ScriptQueriesTest, logsNoLineOfItsOwnForAnAlbum) {
  runner.answers("photo");
  const SystemLogCapture log;
  static_cast<void>(queries.keyPhotoOfAlbum(container("u"), true));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ScriptQueriesTest, takesANumberForItsText) {
  runner.answers(std::int64_t{4294967396});
  EXPECT_EQ(queries.keyPhotoOfAlbum(container("u"), true), Value("4294967396"));
}

TEST_F(ScriptQueriesTest, prefersCachedValues) {
  loadAlbumData();
  EXPECT_EQ(queries.keyPhotoOfProject(container("cached"), true), Value("X"));
  EXPECT_EQ(queries.keyPhotoOfAlbum(container("cached"), true), Value("X"));
  EXPECT_EQ(queries.keyPhotoOfAlbum(container("cached"), false), Value("X"));
  EXPECT_EQ(queries.photoCountOf("album", "cached", 7), 23);
  EXPECT_EQ(queries.photoCountOf("folder", "cached", 7), 23);
  EXPECT_THAT(runner.scripts, IsEmpty());
  runner.answers(5);
  EXPECT_EQ(queries.photoCountOf("album", "empty", 7), 5) << "0 is no cached count";
}

TEST_F(ScriptQueriesTest, aContainerWithoutAnIdHasNoKeyPhoto) {
  const SystemLogCapture log;
  const Dictionary nameless{{"ModelId", 7}};
  EXPECT_TRUE(queries.keyPhotoOfProject(nameless, true).isNil());
  EXPECT_TRUE(queries.keyPhotoOfAlbum(nameless, true).isNil());
  EXPECT_TRUE(queries.keyPhotoOfAlbum(nameless, false).isNil());
  EXPECT_THAT(runner.scripts, IsEmpty());
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ScriptQueriesTest, theDatabasesKeyPhotoIsTheLastMember) {
  album(7);
  version(101, "first");
  version(102, "last");
  member(7, 101);
  member(7, 102);
  ASSERT_TRUE(served.databases.openDatabase());
  const SystemLogCapture log;
  EXPECT_EQ(queries.keyPhotoOfAlbum(container("a"), false), Value("last"));
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_THAT(runner.scripts, IsEmpty());
}

TEST_F(ScriptQueriesTest, theDatabaseDoesNotKnowAnAlbum) {
  ASSERT_TRUE(served.databases.openDatabase());
  const SystemLogCapture log;
  EXPECT_TRUE(queries.keyPhotoOfAlbum(container("a"), false).isNil());
  EXPECT_THAT(log.lines(), ElementsAre("did not found albumId for album '(null)'"));
}

TEST_F(ScriptQueriesTest, anAlbumOfModelIdZeroIsNotFoundButNamed) {
  album(0);
  ASSERT_TRUE(served.databases.openDatabase());
  const SystemLogCapture log;
  EXPECT_TRUE(queries.keyPhotoOfAlbum(container("a"), false).isNil());
  EXPECT_THAT(log.lines(), ElementsAre("did not found albumId for album 'Zoo'"));
}

TEST_F(ScriptQueriesTest, aSmartAlbumHasNoKeyPhotoInTheDatabase) {
  album(7, 1, 2);
  version(101, "first");
  member(7, 101);
  ASSERT_TRUE(served.databases.openDatabase());
  const SystemLogCapture log;
  EXPECT_TRUE(queries.keyPhotoOfAlbum(container("a"), false).isNil());
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ScriptQueriesTest, anAlbumWithoutMembersIsLogged) {
  album(7);
  member(8, 101);
  ASSERT_TRUE(served.databases.openDatabase());
  const SystemLogCapture log;
  EXPECT_TRUE(queries.keyPhotoOfAlbum(container("a"), false).isNil());
  EXPECT_THAT(log.lines(), ElementsAre("did not found versionId for album 'Zoo'"));
}

TEST_F(ScriptQueriesTest, aMemberWithoutAVersionGivesNothing) {
  album(7);
  member(7, 101);
  ASSERT_TRUE(served.databases.openDatabase());
  const SystemLogCapture log;
  EXPECT_TRUE(queries.keyPhotoOfAlbum(container("a"), false).isNil());
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ScriptQueriesTest, aQuoteInAUuidCannotBePrepared) {
  ASSERT_TRUE(served.databases.openDatabase());
  const SystemLogCapture log;
  EXPECT_TRUE(queries.keyPhotoOfAlbum(container("x' OR '1'='1"), false).isNil());
  EXPECT_THAT(log.lines(), ElementsAre("could not prepare query 'SELECT modelId,name,albumType,albumSubclass "
                                       "FROM RKAlbum WHERE uuid = 'x' OR '1'='1''",
                                       "did not found albumId for album '(null)'"));
}

TEST_F(ScriptQueriesTest, countsPhotos) {
  runner.answers(17);
  EXPECT_EQ(queries.photoCountOf("album", "u", 7), 17);
  EXPECT_THAT(runner.scripts,
              ElementsAre("tell application \"iPhoto\" to count of every photo of album id 4294967303"));
}

TEST_F(ScriptQueriesTest, countsNoFolderOfIPhoto) {
  runner.answers(17);
  EXPECT_EQ(queries.photoCountOf("folder", "u", 7), 0);
  EXPECT_THAT(runner.scripts, IsEmpty());
}

TEST_F(ScriptQueriesTest, countsFoldersAndAlbumsOfAperture) {
  askAperture();
  runner.answers(17);
  EXPECT_EQ(queries.photoCountOf("folder", "u", 7), 17);
  EXPECT_EQ(queries.photoCountOf("album", "u", 7), 17);
  EXPECT_THAT(runner.scripts,
              ElementsAre("tell application \"Aperture\" to count of every image version of folder id \"u\"",
                          "tell application \"Aperture\" to count of every image version of album id \"u\""));
}

TEST_F(ScriptQueriesTest, aFailedCountIsLoggedWithItsContainerFirst) {
  runner.fails();
  const SystemLogCapture log;
  EXPECT_EQ(queries.photoCountOf("album", "u", 7), 0);
  EXPECT_THAT(log.lines(), ElementsAre("Problem with AppleScript for containerUuid 'u', modelId 7",
                                       failed(runner.scripts.at(0))));
}

TEST_F(ScriptQueriesTest, aScriptThatDoesNotCompileHasALineMore) {
  runner.fails("broken", true);
  const SystemLogCapture log;
  EXPECT_TRUE(queries.keyPhotoOfAlbum(container("u"), true).isNil());
  EXPECT_THAT(log.lines(), ElementsAre("errorDict: " + dictionary("broken"), failed(runner.scripts.at(0))));
}

TEST_F(ScriptQueriesTest, reportsAnInterpreterThatCannotBeStartedInTheUsersLanguage) {
  test::setStringTable({{"Key photos, photo counts or smart albums may be missing: ", "Es fehlt etwas: "},
                        {"The script interpreter could not be started", "Es startet nicht"},
                        {"No such file or directory", "nicht gefunden"}});
  runner.answer = [](const std::string&) {
    return ScriptOutcome::failed(-1, "The script interpreter could not be started: No such file or directory",
                                 ScriptFailure::Unusable);
  };
  served.messages.lines.clear();
  EXPECT_TRUE(queries.keyPhotoOfAlbum(container("u"), true).isNil());
  EXPECT_THAT(served.messages.lines,
              ElementsAre(testing::Pair("Error", "Es fehlt etwas: Es startet nicht: nicht gefunden")));
  setTranslator({});
}

TEST_F(ScriptQueriesTest, reportsOnceThatTheInterpreterTimedOut) {
  int asked = 0;
  runner.answer = [&asked](const std::string&) {
    return ScriptOutcome::failed(-1, "too slow",
                                 ++asked == 1 ? ScriptFailure::Unusable : ScriptFailure::NotTried);
  };
  served.messages.lines.clear();
  const SystemLogCapture log;
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(queries.keyPhotoOfAlbum(container("u"), true).isNil());
  EXPECT_THAT(served.messages.lines,
              ElementsAre(testing::Pair(
                  "Error", "Key photos, photo counts or smart albums may be missing: too slow")));
  EXPECT_EQ(log.lines().size(), 3u) << "each is logged as any that fails";
}

TEST_F(ScriptQueriesTest, anAnswerIsDoubtfulWhenItsScriptFailed) {
  runner.answers(3);
  EXPECT_EQ(queries.photoCountOf("album", "u", 7), 3);
  EXPECT_EQ(queries.doubtfulAnswers(), 0u);
  int asked = 0;
  runner.answer = [&asked](const std::string&) {
    constexpr std::array kinds{ScriptFailure::OfTheScript, ScriptFailure::Unusable, ScriptFailure::NotTried};
    return ScriptOutcome::failed(-1, "failed", kinds.at(static_cast<std::size_t>(asked++)));
  };
  for (std::uint64_t failed = 1; failed <= 3; ++failed) {
    EXPECT_TRUE(queries.keyPhotoOfAlbum(container("u"), true).isNil());
    EXPECT_EQ(queries.doubtfulAnswers(), failed);
  }
}

TEST_F(ScriptQueriesTest, noInterpreterLeavesNoDoubt) {
  runner.interpreter = false;
  EXPECT_EQ(queries.photoCountOf("album", "u", 7), 0);
  EXPECT_EQ(queries.doubtfulAnswers(), 0u);
}

TEST_F(ScriptQueriesTest, anAnswerIsDoubtfulWhileTheAlbumFileCannotBeRead) {
  std::filesystem::create_directory(files.path() + "/AlbumData.xml");
  albumData.loadAlbumData();
  static_cast<void>(queries.keyPhotoOfAlbum(container("cached"), false));
  EXPECT_EQ(queries.doubtfulAnswers(), 1u);
  std::filesystem::remove(files.path() + "/AlbumData.xml");
  loadAlbumData();
  EXPECT_EQ(queries.keyPhotoOfAlbum(container("cached"), false), Value("X"));
  EXPECT_EQ(queries.doubtfulAnswers(), 1u);
}

TEST_F(ScriptQueriesTest, otherFailuresAreForTheLogAlone) {
  served.messages.lines.clear();
  runner.fails();
  EXPECT_TRUE(queries.keyPhotoOfAlbum(container("u"), true).isNil());
  EXPECT_THAT(served.messages.lines, IsEmpty());
}

TEST_F(ScriptQueriesTest, triesAndLogsNothingWithoutAnInterpreter) {
  runner.interpreter = false;
  runner.fails();
  served.messages.lines.clear();
  const SystemLogCapture log;
  EXPECT_TRUE(queries.keyPhotoOfAlbum(container("u"), true).isNil());
  EXPECT_TRUE(queries.keyPhotoOfAlbum(container(kHostile), true).isNil());
  EXPECT_EQ(queries.photoCountOf("album", "u", 7), 0);
  EXPECT_THAT(texts(queries.imageUuidsOf("album", "u", 7)), IsEmpty());
  EXPECT_TRUE(queries.keyPhotoOfProject(container("u"), true).isNil());
  EXPECT_THAT(runner.scripts, IsEmpty());
  EXPECT_THAT(served.messages.lines, IsEmpty());
  EXPECT_THAT(log.lines(), ElementsAre("keyPhotoOfProjectWithUuid: 'u' is '(null)'"));
}

TEST_F(ScriptQueriesTest, asksTheFilesWhereAScriptFails) {
  fromFiles.keyPhotosByScript["u"] = "photo";
  fromFiles.photoCounts["u"] = 2;
  fromFiles.images["u"] = {Text("one"), Text("two")};
  for (const bool interpreter : {true, false}) {
    runner.interpreter = interpreter;
    runner.fails();
    served.flags.connectedWithIPhoto = true;  // the files' uuids are not converted like iPhoto's numbers
    EXPECT_EQ(queries.keyPhotoOfProject(container("u"), true), Value("photo"));
    EXPECT_EQ(queries.keyPhotoOfAlbum(container("u"), true), Value("photo"));
    EXPECT_EQ(queries.photoCountOf("album", "u", 7), 2);
    EXPECT_THAT(texts(queries.imageUuidsOf("album", "u", 7)), ElementsAre("one", "two"));
    EXPECT_EQ(queries.photoCountOf("folder", "u", 7), 0) << "iPhoto's folders count 0";
  }
  served.flags.connectedWithIPhoto = false;
  askAperture();
  EXPECT_EQ(queries.photoCountOf("folder", "u", 7), 2);
}

TEST_F(ScriptQueriesTest, takesAScriptsEmptyAnswerExceptForEvents) {
  fromFiles.keyPhotosByScript["u"] = "photo";
  fromFiles.photoCounts["u"] = 2;
  fromFiles.images["u"] = {Text("one")};
  EXPECT_TRUE(queries.keyPhotoOfAlbum(container("u"), true).isNil());
  EXPECT_EQ(queries.photoCountOf("album", "u", 7), 0);
  EXPECT_THAT(queries.imageUuidsOf("album", "u", 7), IsEmpty());
  EXPECT_THAT(fromFiles.questions, IsEmpty());
  EXPECT_EQ(queries.keyPhotoOfProject(container("u"), true), Value("photo"))
      << "iPhoto knows events by another number than the one in the script";
}

TEST_F(ScriptQueriesTest, listsThePhotosOfAperture) {
  askAperture();
  runner.answers(Array{"one", "t%wo", 3});
  EXPECT_THAT(texts(queries.imageUuidsOf("album", "u", 7)), ElementsAre("one", "t%wo", "3"));
  EXPECT_THAT(runner.scripts,
              ElementsAre("tell application \"Aperture\" to id of every image version of album id \"u\""));
}

TEST_F(ScriptQueriesTest, turnsIPhotosIdsIntoVersionUuids) {
  version(100, "hundred");
  version(101, "hundred and one");
  served.flags.connectedWithIPhoto = true;
  runner.answers(Array{std::int64_t{4294967396}, std::int64_t{4294967397}});
  EXPECT_THAT(texts(queries.imageUuidsOf("album", "u", 7)), ElementsAre("hundred", "hundred and one"));
  EXPECT_THAT(runner.scripts,
              ElementsAre("tell application \"iPhoto\" to id of every photo of album id 4294967303"));
}

TEST_F(ScriptQueriesTest, aPhotoThatTheDatabaseDoesNotKnowAddsNothing) {
  version(100, "hundred");
  served.flags.connectedWithIPhoto = true;
  runner.answers(
      Array{"4294967397", "4294967396", "rubbish", Value(), "9223372036854775807", "-9223372036854775808"});
  EXPECT_THAT(texts(queries.imageUuidsOf("album", "u", 7)), ElementsAre("hundred"));
}

TEST_F(ScriptQueriesTest, whileIPhotoIsNotConnectedItsIdsStayAsTheyAre) {
  version(100, "hundred");
  runner.answers(Array{std::int64_t{4294967396}});
  EXPECT_THAT(texts(queries.imageUuidsOf("album", "u", 7)), ElementsAre("4294967396"));
}

// Both run and Aperture is preferred: iPhoto is asked, and the flag makes the answer be converted.
TEST_F(ScriptQueriesTest, convertsByTheFlagWhenBothApplicationsRun) {
  askAperture();
  served.flags.connectedWithIPhoto = true;
  served.flags.connectedWithAperture = true;
  version(100, "hundred");
  runner.answers(Array{std::int64_t{4294967396}});
  EXPECT_THAT(texts(queries.imageUuidsOf("album", "u", 7)), ElementsAre("hundred"));
}

TEST_F(ScriptQueriesTest, aFailedListIsEmpty) {
  runner.fails();
  const SystemLogCapture log;
  EXPECT_THAT(texts(queries.imageUuidsOf("album", "u", 7)), IsEmpty());
  EXPECT_THAT(log.lines(), ElementsAre(failed(runner.scripts.at(0))));
}

TEST_F(ScriptQueriesTest, anAnswerThatIsNoListIsEmpty) {
  runner.answers("one");
  EXPECT_THAT(texts(queries.imageUuidsOf("album", "u", 7)), IsEmpty());
}

TEST_F(ScriptQueriesTest, aHostileUuidRunsNoScript) {
  askAperture();
  for (const std::string_view uuid :
       {kHostile, std::string_view("\\"), std::string_view("a\0b", 3), std::string_view("\r")}) {
    const SystemLogCapture log;
    EXPECT_TRUE(queries.keyPhotoOfAlbum(container(uuid), true).isNil());
    EXPECT_EQ(log.lines().size(), 1u);
    EXPECT_THAT(log.lines().at(0), HasSubstr("refused to put '"));
    EXPECT_EQ(queries.photoCountOf("album", uuid, 7), 0);
    EXPECT_THAT(texts(queries.imageUuidsOf("album", uuid, 7)), IsEmpty());
    EXPECT_EQ(log.lines().size(), 3u);
    EXPECT_TRUE(queries.keyPhotoOfProject(container(uuid), true).isNil());
  }
  EXPECT_THAT(runner.scripts, IsEmpty());
}

TEST_F(ScriptQueriesTest, theApplicationCanWriteWhileItIsAsked) {
  album(7);
  OtherProcess application(files.pathOf(DatabaseFile::Library));
  ASSERT_TRUE(served.databases.openDatabase());
  bool wrote = false;
  runner.answer = [&](const std::string&) {
    wrote = application.canWrite() &&
            application.execute("INSERT INTO RKVersion (modelId,uuid) VALUES (100,'new')") == 0;
    return ScriptOutcome::success(Array{std::int64_t{4294967396}});
  };
  served.flags.connectedWithIPhoto = true;
  // A query before it has taken the lock.
  EXPECT_EQ(served.number(DatabaseFile::Library, "SELECT modelId FROM RKAlbum WHERE uuid = '%@'", {"a"}), 7);
  EXPECT_THAT(texts(queries.imageUuidsOf("album", "a", 7)), ElementsAre("new")) << "what it wrote is seen";
  EXPECT_TRUE(wrote);
}

TEST_F(ScriptQueriesTest, aListingOfASmartAlbumHoldsNoLockWhileItAsks) {
  album(7, 1, 2);
  version(100, "hundred");
  OtherProcess application(files.pathOf(DatabaseFile::Library));
  bool canWrite = false;
  runner.answer = [&](const std::string&) {
    canWrite = application.canWrite();
    return ScriptOutcome::success(Array{"hundred"});
  };
  askAperture();
  PhotoRecords photos(served.databases, albumData, queries);
  EXPECT_EQ(photos.photosInContainer("a").array().size(), 1u);
  EXPECT_TRUE(canWrite);
  served.databases.releaseLocks();
  EXPECT_TRUE(application.canWrite());
}

}  // namespace
}  // namespace moxtel::test
