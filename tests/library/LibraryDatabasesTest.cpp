#include "library/database/LibraryDatabases.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/library/ServedLibrary.h"

namespace moxtel::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using namespace std::chrono_literals;
using namespace std::string_literals;
namespace fs = std::filesystem;

constexpr DatabaseFile kLibrary = DatabaseFile::Library;

std::string couldNotPrepare(const std::string& sql) {
  return printableText("could not prepare query '" + sql + "'");
}

class LibraryDatabasesTest : public testing::Test {
 protected:
  TestLibrary files;
  ServedLibrary served{files.path()};
  LibraryDatabases& databases = served.databases;
};

TEST_F(LibraryDatabasesTest, countTheOpeningsAndCloseAtTheLastClosing) {
  EXPECT_TRUE(databases.openDatabase());
  EXPECT_TRUE(databases.openDatabase());
  EXPECT_EQ(databases.databaseOpenCount(), 2);
  databases.closeDatabase();
  EXPECT_EQ(databases.databaseOpenCount(), 1);
  databases.closeDatabase();
  EXPECT_EQ(databases.databaseOpenCount(), 0);
}

TEST_F(LibraryDatabasesTest, stayAtZeroOpeningsAfterAnExtraClosing) {
  databases.closeDatabase();
  EXPECT_EQ(databases.databaseOpenCount(), 0);
  EXPECT_TRUE(databases.openDatabase());
  databases.closeDatabase();
  databases.closeDatabase();
  EXPECT_EQ(databases.databaseOpenCount(), 0);
}

TEST_F(LibraryDatabasesTest, openOneConnectionForNestedUsers) {
  ASSERT_TRUE(databases.openDatabase());
  ASSERT_TRUE(databases.openDatabase());
  EXPECT_EQ(served.number(kLibrary, "SELECT COUNT(uuid) FROM RKVersion"), 0);
  EXPECT_EQ(descriptorsTo(files.pathOf(kLibrary)), 1);
}

TEST_F(LibraryDatabasesTest, openTheOtherThree) {
  EXPECT_TRUE(databases.openProxiesDB());
  EXPECT_TRUE(databases.openPropsDB());
  EXPECT_TRUE(databases.openFacesDB());
  EXPECT_EQ(served.number(DatabaseFile::ImageProxies, "SELECT COUNT(versionUuid) FROM RKImageProxyState"), 0);
  EXPECT_EQ(served.number(DatabaseFile::Properties, "SELECT COUNT(modelId) FROM RKUniqueString"), 0);
  EXPECT_EQ(served.number(DatabaseFile::Faces, "SELECT COUNT(uuid) FROM RKFaceName"), 0);
  databases.closeProxiesDB();
  databases.closePropsDB();
  databases.closeFacesDB();
  EXPECT_EQ(databases.databaseOpenCount(), 0);
}

TEST_F(LibraryDatabasesTest, logAFileThatCannotBeOpened) {
  files.remove(DatabaseFile::Faces);
  EXPECT_FALSE(databases.openFacesDB());
  EXPECT_EQ(databases.result(), SQLITE_CANTOPEN);
  EXPECT_TRUE(
      served.log.contains("could not open db '" + files.pathOf(DatabaseFile::Faces) + "', result: 14"));
  EXPECT_FALSE(fs::exists(files.pathOf(DatabaseFile::Faces)));
}

TEST_F(LibraryDatabasesTest, keepTheCountUpAfterAFailedOpening) {
  files.remove(kLibrary);
  EXPECT_FALSE(databases.openDatabase());
  EXPECT_EQ(databases.databaseOpenCount(), 1);
  EXPECT_TRUE(databases.openDatabase());
  EXPECT_EQ(served.number(kLibrary, "SELECT COUNT(uuid) FROM RKVersion"), -1);
  EXPECT_TRUE(served.log.contains(couldNotPrepare("SELECT COUNT(uuid) FROM RKVersion")));
  databases.closeDatabase();
  EXPECT_EQ(databases.databaseOpenCount(), 1);
}

TEST_F(LibraryDatabasesTest, openAFileThatIsThereAgainWithTheNextQuery) {
  fs::rename(files.pathOf(kLibrary), files.pathOf(kLibrary) + ".away");
  EXPECT_FALSE(databases.openDatabase());
  fs::rename(files.pathOf(kLibrary) + ".away", files.pathOf(kLibrary));
  EXPECT_TRUE(databases.openDatabase());
  EXPECT_EQ(served.number(kLibrary, "SELECT COUNT(uuid) FROM RKVersion"), 0);
}

TEST_F(LibraryDatabasesTest, noticeAFileThatVanishesAndOneThatComesBack) {
  files.insert("RKVersion", {{"uuid", "a"}});
  EXPECT_EQ(served.number(kLibrary, "SELECT COUNT(uuid) FROM RKVersion"), 1);
  databases.releaseLocks();
  fs::rename(files.path(), files.path() + ".away");
  EXPECT_EQ(served.number(kLibrary, "SELECT COUNT(uuid) FROM RKVersion"), -1);
  EXPECT_FALSE(databases.openDatabase());
  databases.closeDatabase();
  fs::rename(files.path() + ".away", files.path());
  EXPECT_EQ(served.number(kLibrary, "SELECT COUNT(uuid) FROM RKVersion"), 1);
}

TEST_F(LibraryDatabasesTest, noticeAFileThatTookAnothersPlace) {
  TestLibrary other;
  other.insert("RKVersion", {{"uuid", "a"}});
  EXPECT_EQ(served.number(kLibrary, "SELECT COUNT(uuid) FROM RKVersion"), 0);
  databases.releaseLocks();
  fs::rename(other.pathOf(kLibrary), files.pathOf(kLibrary));
  EXPECT_EQ(served.number(kLibrary, "SELECT COUNT(uuid) FROM RKVersion"), 1);
}

TEST_F(LibraryDatabasesTest, noticeALinkThatLeadsElsewhere) {
  TestLibrary other;
  other.insert("RKVersion", {{"uuid", "a"}});
  const TemporaryFolder folder;
  const std::string link = (folder.path() / "link").string();
  fs::create_directory_symlink(files.path(), link);
  ServedLibrary linked(link);
  EXPECT_EQ(linked.number(kLibrary, "SELECT COUNT(uuid) FROM RKVersion"), 0);
  linked.databases.releaseLocks();
  fs::remove(link);
  fs::create_directory_symlink(other.path(), link);
  EXPECT_EQ(linked.number(kLibrary, "SELECT COUNT(uuid) FROM RKVersion"), 1);
}

TEST_F(LibraryDatabasesTest, seeWhatAnotherProgramWroteBetweenCommands) {
  OtherProcess other(files.pathOf(kLibrary));
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(served.number(kLibrary, "SELECT COUNT(uuid) FROM RKVersion"), i);
    databases.releaseLocks();
    ASSERT_EQ(other.execute("INSERT INTO RKVersion(uuid) VALUES('x')"), SQLITE_OK);
  }
}

TEST_F(LibraryDatabasesTest, readOneSnapshotUntilTheLocksAreReleased) {
  OtherProcess other(files.pathOf(kLibrary));
  ASSERT_EQ(served.number(kLibrary, "SELECT COUNT(uuid) FROM RKVersion"), 0);
  EXPECT_FALSE(other.canWrite());
  EXPECT_EQ(other.execute("INSERT INTO RKVersion(uuid) VALUES('x')"), SQLITE_BUSY);
  databases.releaseLocks();
  EXPECT_TRUE(other.canWrite());
}

TEST_F(LibraryDatabasesTest, letOthersWriteAfterClosingAndReleasing) {
  OtherProcess other(files.pathOf(kLibrary));
  EXPECT_TRUE(databases.openDatabase());
  databases.closeDatabase();
  EXPECT_TRUE(other.canWrite());
  databases.versionUuidFromModelId(1);
  databases.releaseLocks();
  EXPECT_TRUE(other.canWrite());
}

TEST_F(LibraryDatabasesTest, letOthersWriteAtTheLoopsNextTurnWithoutAnExplicitRelease) {
  OtherProcess other(files.pathOf(kLibrary));
  served.number(kLibrary, "SELECT COUNT(uuid) FROM RKVersion");
  EXPECT_FALSE(other.canWrite());
  served.loop.runPosted();
  EXPECT_TRUE(other.canWrite());
}

TEST_F(LibraryDatabasesTest, letOthersWriteThoughAQueryIsStillHeld) {
  files.insert("RKVersion", {{"uuid", "a"}});
  files.insert("RKVersion", {{"uuid", "b"}});
  OtherProcess other(files.pathOf(kLibrary));
  Query held = databases.run(kLibrary, "SELECT uuid FROM RKVersion", {});
  ASSERT_TRUE(held.step());
  EXPECT_FALSE(other.canWrite());
  databases.releaseLocks();
  EXPECT_TRUE(other.canWrite());
  EXPECT_EQ(held.stringColumn(0), Value());
  EXPECT_FALSE(held.step());
}

TEST_F(LibraryDatabasesTest, aHeldQueryOutlivesAFileThatWasReplaced) {
  files.insert("RKVersion", {{"uuid", "a"}});
  Query held = databases.run(kLibrary, "SELECT uuid FROM RKVersion", {});
  databases.releaseLocks();
  TestLibrary other;
  fs::rename(other.pathOf(kLibrary), files.pathOf(kLibrary));
  EXPECT_EQ(served.number(kLibrary, "SELECT COUNT(uuid) FROM RKVersion"), 0);
  EXPECT_FALSE(held.step());
}

TEST_F(LibraryDatabasesTest, keepTheConnectionBetweenCommandsAndCloseItAfterFiveSecondsWithoutOne) {
  const std::string path = files.pathOf(kLibrary);
  served.number(kLibrary, "SELECT COUNT(uuid) FROM RKVersion");
  databases.releaseLocks();
  served.loop.advance(4900ms);
  EXPECT_EQ(descriptorsTo(path), 1);
  served.number(kLibrary, "SELECT COUNT(uuid) FROM RKVersion");
  databases.releaseLocks();
  served.loop.advance(4900ms);
  EXPECT_EQ(descriptorsTo(path), 1);
  served.loop.advance(200ms);
  EXPECT_EQ(descriptorsTo(path), 0);
  EXPECT_EQ(served.number(kLibrary, "SELECT COUNT(uuid) FROM RKVersion"), 0);
}

TEST_F(LibraryDatabasesTest, closeAConnectionThatWasOpenedAndNeverAsked) {
  ASSERT_TRUE(databases.openProxiesDB());
  databases.closeProxiesDB();
  served.loop.advance(5100ms);
  EXPECT_EQ(descriptorsTo(files.pathOf(DatabaseFile::ImageProxies)), 0);
}

TEST_F(LibraryDatabasesTest, mayBeDestroyedBeforeTheTasksTheyPostedRun) {
  auto lone = std::make_unique<ServedLibrary>(files.path());
  FakeEventLoop loop;
  {
    LibraryDatabases shortLived(loop, lone->messages);
    shortLived.useLibrary(files.path());
    EXPECT_TRUE(shortLived.openDatabase());
  }
  loop.runPosted();
  loop.advance(10s);
}

TEST_F(LibraryDatabasesTest, closeWhatIsOpenWhenAnotherLibraryIsLoaded) {
  TestLibrary other;
  other.insert("RKVersion", {{"uuid", "a"}});
  served.number(kLibrary, "SELECT COUNT(uuid) FROM RKVersion");
  served.defaults.setString("LibraryPath", other.path());
  served.library.loadDatabase();
  EXPECT_EQ(descriptorsTo(files.pathOf(kLibrary)), 0);
  EXPECT_EQ(served.number(kLibrary, "SELECT COUNT(uuid) FROM RKVersion"), 1);
}

TEST_F(LibraryDatabasesTest, aPathThatLooksLikeAUriIsAPath) {
  const TemporaryFolder folder;
  const fs::path before = fs::current_path();
  fs::current_path(folder.path());
  fs::create_directories("file:x?mode=memory/Database/apdb");
  fs::copy_file(files.pathOf(kLibrary), "file:x?mode=memory/Database/apdb/Library.apdb");
  ServedLibrary odd("file:x?mode=memory");
  EXPECT_TRUE(odd.databases.openDatabase());
  EXPECT_EQ(odd.number(kLibrary, "SELECT COUNT(uuid) FROM RKVersion"), 0);
  fs::current_path(before);
}

// Queries.

TEST_F(LibraryDatabasesTest, readColumnsAsTheirKinds) {
  files.execute(kLibrary,
                "CREATE TABLE t(a); INSERT INTO t VALUES(NULL),(7),(4294967298),(-1),(2.5),('text'),(''),"
                "(x'ff41'),(x'416200'),('12abc')");
  Query rows = databases.run(kLibrary, "SELECT a FROM t", {});
  ASSERT_TRUE(rows.prepared());
  ASSERT_TRUE(rows.step());
  EXPECT_EQ(rows.stringColumn(0), Value());
  EXPECT_EQ(rows.integerNumberColumn(0), Value(0));
  EXPECT_EQ(rows.realNumberColumn(0), Value());
  EXPECT_EQ(rows.integerColumn(0), 0);
  EXPECT_EQ(rows.integer64Column(0), 0);
  EXPECT_EQ(rows.realColumn(0), 0.0);
  ASSERT_TRUE(rows.step());
  EXPECT_EQ(rows.stringColumn(0), Value("7"));
  EXPECT_EQ(rows.integerNumberColumn(0), Value(7));
  ASSERT_TRUE(rows.step());
  EXPECT_EQ(rows.integerNumberColumn(0), Value(2));
  EXPECT_EQ(rows.integer64Column(0), 4294967298);
  ASSERT_TRUE(rows.step());
  EXPECT_EQ(rows.integerColumn(0), -1);
  ASSERT_TRUE(rows.step());
  EXPECT_EQ(rows.realNumberColumn(0), Value(2.5));
  EXPECT_EQ(rows.integerColumn(0), 2);
  ASSERT_TRUE(rows.step());
  EXPECT_EQ(rows.stringColumn(0), Value("text"));
  EXPECT_EQ(rows.realNumberColumn(0), Value(0.0));
  ASSERT_TRUE(rows.step());
  EXPECT_EQ(rows.stringColumn(0), Value(""));
  ASSERT_TRUE(rows.step());
  EXPECT_EQ(rows.stringColumn(0), Value()) << "bytes that are no UTF-8";
  ASSERT_TRUE(rows.step());
  EXPECT_EQ(rows.stringColumn(0), Value("Ab")) << "up to a NUL";
  ASSERT_TRUE(rows.step());
  EXPECT_EQ(rows.integerColumn(0), 12);
  EXPECT_FALSE(rows.step());
  EXPECT_FALSE(rows.step());
  EXPECT_EQ(rows.stringColumn(0), Value());
  EXPECT_EQ(rows.integerNumberColumn(0), Value(0));
  EXPECT_EQ(rows.stringColumn(99), Value());
}

TEST_F(LibraryDatabasesTest, findTheVersionOfAModelId) {
  files.insert("RKVersion", {{"modelId", 5000000000LL}, {"uuid", "Tn%h%CuhQruD8VQ5zVgy8g"}});
  EXPECT_EQ(databases.versionUuidFromModelId(5000000000LL), Value("Tn%h%CuhQruD8VQ5zVgy8g"));
  EXPECT_EQ(databases.query(), "SELECT uuid FROM RKVersion WHERE modelId = 5000000000");
  EXPECT_EQ(databases.versionUuidFromModelId(705032704), Value());
  EXPECT_EQ(databases.databaseOpenCount(), 0);
}

TEST_F(LibraryDatabasesTest, findNoVersionWithoutTheFile) {
  files.remove(kLibrary);
  EXPECT_EQ(databases.versionUuidFromModelId(1), Value());
  EXPECT_EQ(databases.databaseOpenCount(), 0);
}

TEST_F(LibraryDatabasesTest, bindTextsAndNil) {
  files.insert("RKVersion", {{"uuid", "%d%@\" --"}, {"fileName", "odd"}});
  files.insert("RKVersion", {{"uuid", "(null)"}, {"fileName", "nil"}});
  files.insert("RKVersion", {{"uuid", "12"}, {"fileName", "number"}});
  constexpr SqlText kSql = "SELECT fileName FROM RKVersion WHERE uuid = '%@'";
  EXPECT_EQ(served.text(kLibrary, kSql, {"%d%@\" --"}), Value("odd"));
  EXPECT_EQ(served.text(kLibrary, kSql, {nullptr}), Value("nil"));
  EXPECT_EQ(served.text(kLibrary, kSql, {12}), Value("number"));
  EXPECT_EQ(databases.query(), "SELECT fileName FROM RKVersion WHERE uuid = '12'");
  EXPECT_EQ(databases.result(), SQLITE_OK);
}

TEST_F(LibraryDatabasesTest, neverRunAClientsTextAsSql) {
  files.insert("RKVersion", {{"uuid", "a"}, {"fileName", "secret"}});
  constexpr SqlText kSql = "SELECT fileName FROM RKVersion WHERE uuid = '%@'";
  for (const std::string& id : {"' OR '1' = '1"s, "a''"s, "a\0"s, "'"s}) {
    Query rows = databases.run(kLibrary, kSql, {Value(id)});
    EXPECT_FALSE(rows.prepared());
    EXPECT_FALSE(rows.step());
    EXPECT_EQ(databases.result(), SQLITE_ERROR);
    EXPECT_STREQ(databases.errorMessage(kLibrary), "SQL logic error");
    EXPECT_TRUE(
        served.log.contains(couldNotPrepare("SELECT fileName FROM RKVersion WHERE uuid = '" + id + "'")));
  }
  EXPECT_FALSE(databases.sawFailure()) << "the database could be read";
}

TEST_F(LibraryDatabasesTest, bindTheDescriptionOfAList) {
  constexpr SqlText kSql = "SELECT fileName FROM RKVersion WHERE uuid = '%@'";
  EXPECT_TRUE(databases.run(kLibrary, kSql, {Array({"a"})}).prepared());
  EXPECT_FALSE(databases.run(kLibrary, kSql, {Array({"a'b"})}).prepared());
  EXPECT_EQ(databases.result(), SQLITE_ERROR);
}

TEST_F(LibraryDatabasesTest, answerTheSameQueryWithinItself) {
  for (const char* uuid : {"a", "b", "c"}) files.insert("RKVersion", {{"uuid", uuid}});
  constexpr SqlText kSql = "SELECT uuid FROM RKVersion WHERE uuid != '%@'";
  std::vector<std::string> seen;
  Query outer = databases.run(kLibrary, kSql, {"a"});
  while (outer.step()) {
    Query inner = databases.run(kLibrary, kSql, {"b"});
    while (inner.step())
      seen.push_back(outer.stringColumn(0).text().str() + inner.stringColumn(0).text().str());
  }
  EXPECT_THAT(seen, ElementsAre("ba", "bc", "ca", "cc"));
}

TEST_F(LibraryDatabasesTest, logATableOrColumnThatIsMissing) {
  files.execute(kLibrary, "DROP TABLE RKNote");
  EXPECT_EQ(served.text(kLibrary, "SELECT note FROM RKNote WHERE attachedToUuid = '%@'", {"x"}), Value());
  EXPECT_TRUE(served.log.contains(couldNotPrepare("SELECT note FROM RKNote WHERE attachedToUuid = 'x'")));
  EXPECT_EQ(databases.result(), SQLITE_ERROR);
  EXPECT_STREQ(databases.errorMessage(kLibrary), "no such table: RKNote");
  EXPECT_EQ(served.text(kLibrary, "SELECT nothing FROM RKVersion"), Value());
  EXPECT_TRUE(served.log.contains(couldNotPrepare("SELECT nothing FROM RKVersion")));
  EXPECT_TRUE(databases.sawFailure());
}

TEST_F(LibraryDatabasesTest, canLeaveTheLogLineToTheCaller) {
  const std::size_t before = served.log.lines().size();
  EXPECT_FALSE(databases.runUnlogged(kLibrary, "SELECT x FROM nothing", {}).prepared());
  EXPECT_EQ(served.log.lines().size(), before);
  EXPECT_EQ(databases.query(), "SELECT x FROM nothing");
}

TEST_F(LibraryDatabasesTest, refuseEverythingButReading) {
  const auto before = stateOf(files.path());
  const SqlText statements[] = {
      "INSERT INTO RKVersion(uuid) VALUES('x')",
      "UPDATE RKVersion SET uuid = 'x'",
      "DELETE FROM RKVersion",
      "DROP TABLE RKVersion",
      "CREATE TABLE t(a)",
      "CREATE TEMP TABLE t(a)",
      "ATTACH '/tmp/moxtel-never' AS other",
      "PRAGMA journal_mode = WAL",
      "VACUUM",
      "SELECT load_extension('x')",
      "SELECT randomblob(1000000000)",
      "WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x+1 FROM n) SELECT COUNT(x) FROM n",
      "SAVEPOINT s"};
  for (const SqlText sql : statements) {
    EXPECT_FALSE(databases.run(kLibrary, sql, {}).prepared()) << sql.view();
    databases.releaseLocks();
  }
  EXPECT_EQ(stateOf(files.path()), before);
}

TEST_F(LibraryDatabasesTest, leaveTheLibraryAsItIs) {
  files.insert("RKVersion", {{"uuid", "a"}});
  const auto before = stateOf(files.path());
  EXPECT_TRUE(databases.openDatabase());
  EXPECT_TRUE(databases.openProxiesDB());
  EXPECT_EQ(served.text(kLibrary, "SELECT uuid FROM RKVersion"), Value("a"));
  databases.versionUuidFromModelId(1);
  databases.releaseLocks();
  served.loop.advance(10s);
  EXPECT_EQ(stateOf(files.path()), before);
}

TEST_F(LibraryDatabasesTest, areReadFromAFolderWithoutWriteAccess) {
  files.insert("RKVersion", {{"uuid", "a"}});
  const fs::path folder = fs::path(files.pathOf(kLibrary)).parent_path();
  for (const auto& entry : fs::directory_iterator(folder))
    fs::permissions(entry.path(), fs::perms::owner_read);
  fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec);
  EXPECT_EQ(served.text(kLibrary, "SELECT uuid FROM RKVersion"), Value("a"));
  fs::permissions(folder, fs::perms::owner_all);
}

TEST_F(LibraryDatabasesTest, forgetFailuresWhenACommandBegins) {
  files.remove(DatabaseFile::Faces);
  EXPECT_FALSE(databases.sawFailure());
  EXPECT_FALSE(databases.openFacesDB());
  EXPECT_TRUE(databases.sawFailure());
  databases.beginCommand();
  EXPECT_FALSE(databases.sawFailure());
}

}  // namespace
}  // namespace moxtel::test
