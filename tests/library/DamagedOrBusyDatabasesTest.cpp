// Damaged, crafted, busy and journaled databases, and databases that other programs write.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "tests/library/ServedLibrary.h"

namespace moxtel::test {
namespace {

using testing::HasSubstr;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

constexpr DatabaseFile kLibrary = DatabaseFile::Library;
constexpr SqlText kCount = "SELECT COUNT(uuid) FROM RKVersion";
constexpr const char* kCouldNotCount = "could not prepare query 'SELECT COUNT(uuid) FROM RKVersion'";

constexpr std::size_t kPageSize = 16384;
constexpr std::size_t kCells = 2000;

std::string big(std::uint64_t number, std::size_t width) {
  std::string bytes;
  for (std::size_t i = width; i-- > 0;) bytes += static_cast<char>(number >> 8 * i & 0xFF);
  return bytes;
}

std::string contentsOf(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// A page of a table's tree with all cells referring to one page (https://sqlite.org/fileformat2.html, 1.6).
std::string pageLeadingTo(std::uint32_t child) {
  const std::string cell = big(child, 4) + "\x7F";
  const std::size_t start = kPageSize - kCells * cell.size();
  std::string page = "\5" + big(0, 2) + big(kCells, 2) + big(start, 2) + big(0, 1) + big(child, 4);
  for (std::size_t i = 0; i < kCells; ++i) page += big(start + i * cell.size(), 2);
  page.resize(start);
  for (std::size_t i = 0; i < kCells; ++i) page += cell;
  return page;
}

// The file with this number of levels of such pages above the table's only leaf.
std::string withCircles(std::string file, std::size_t root, int levels) {
  const std::size_t place = (root - 1) * kPageSize;
  file += file.substr(place, kPageSize);
  for (int level = 1; level < levels; ++level)
    file += pageLeadingTo(static_cast<std::uint32_t>(file.size() / kPageSize));
  file.replace(place, kPageSize, pageLeadingTo(static_cast<std::uint32_t>(file.size() / kPageSize)));
  return file.replace(28, 4, big(file.size() / kPageSize, 4));
}

class DamagedOrBusyDatabasesTest : public testing::Test {
 protected:
  DamagedOrBusyDatabasesTest() {
    files.insert("RKVersion", {{"uuid", "a"}});
    files.insert("RKVersion", {{"uuid", "b"}});
  }
  void expectUnreadable() {
    const SystemLogCapture log;
    EXPECT_TRUE(served.databases.openDatabase());
    EXPECT_EQ(served.number(kLibrary, kCount), -1);
    EXPECT_TRUE(log.contains(kCouldNotCount));
    EXPECT_TRUE(served.databases.sawFailure());
    served.databases.closeDatabase();
    served.databases.releaseLocks();
  }
  std::size_t rootOf(const std::string& table) {
    sqlite3* connection = nullptr;
    sqlite3_open(path.c_str(), &connection);
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(connection,
                       ("SELECT rootpage FROM sqlite_master WHERE name = '" + table + "'").c_str(), -1,
                       &statement, nullptr);
    const std::size_t root = sqlite3_step(statement) == SQLITE_ROW
                                 ? static_cast<std::size_t>(sqlite3_column_int(statement, 0))
                                 : 0;
    sqlite3_finalize(statement);
    sqlite3_close(connection);
    return root;
  }
  int copies() const {
    return static_cast<int>(std::distance(fs::directory_iterator(served.temporary.path()), {}));
  }

  TestLibrary files;
  std::string path = files.pathOf(kLibrary);
  ServedLibrary served{files.path()};
};

TEST_F(DamagedOrBusyDatabasesTest, anEmptyFileHasNoTables) {
  files.overwrite(kLibrary, "");
  const auto before = stateOf(files.path());
  expectUnreadable();
  EXPECT_EQ(stateOf(files.path()), before);
}

TEST_F(DamagedOrBusyDatabasesTest, anEmptyFilesJournalsAreLeftWhereTheyAre) {
  files.overwrite(kLibrary, "");
  std::ofstream(path + "-journal") << "old";
  std::ofstream(path + "-wal") << "old";
  const auto before = stateOf(files.path());
  expectUnreadable();
  EXPECT_EQ(stateOf(files.path()), before);
}

TEST_F(DamagedOrBusyDatabasesTest, aFileOfSomethingElseIsNotRead) {
  files.overwrite(kLibrary, std::string(100'000, 'x'));
  expectUnreadable();
  EXPECT_EQ(served.databases.result(), SQLITE_NOTADB);
}

TEST_F(DamagedOrBusyDatabasesTest, aFileCutInTheMiddleDoesNotCrash) {
  const auto whole = fs::file_size(path);
  for (const auto size :
       {whole / 2, whole / 3, std::uintmax_t{16384}, std::uintmax_t{100}, std::uintmax_t{1}}) {
    fs::resize_file(path, size);
    Query rows = served.databases.run(kLibrary, "SELECT uuid FROM RKVersion", {});
    while (rows.step()) rows.stringColumn(0);
    served.databases.releaseLocks();
  }
  EXPECT_TRUE(served.databases.sawFailure());
}

TEST_F(DamagedOrBusyDatabasesTest, damagedPagesEndTheRowsAndCountAsAFailure) {
  for (int i = 0; i < 3000; ++i) files.insert("RKMaster", {{"uuid", std::string(60, 'm')}});
  {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    const auto half = static_cast<std::streamoff>(fs::file_size(path)) / 2;
    file.seekp(half);
    file << std::string(static_cast<std::size_t>(half), '\x05');
  }
  Query rows = served.databases.run(kLibrary, "SELECT uuid,name FROM RKMaster", {});
  int count = 0;
  while (rows.step()) ++count;
  EXPECT_LT(count, 3000);
  EXPECT_TRUE(served.databases.sawFailure());
}

TEST_F(DamagedOrBusyDatabasesTest, aFileWhosePagesLeadInCirclesEnds) {
  files.overwrite(kLibrary, withCircles(contentsOf(path), rootOf("RKVersion"), 4));
  // As many rows as 2000 to the power of four, and two for each.
  const auto rows = [&] {
    const std::size_t most = fs::file_size(path);
    Query query = served.databases.run(kLibrary, "SELECT exifLatitude FROM RKVersion", {});
    std::size_t count = 0;
    while (count < most && query.step()) ++count;
    return query.failed() ? count : most;
  };
  const std::size_t first = rows();
  ASSERT_LT(first, fs::file_size(path));
  // For the rest of the command the file is not read again and again, not even after its locks were
  // released.
  EXPECT_LT(rows(), first / 10);
  served.databases.releaseLocks();
  EXPECT_LT(rows(), first / 10);
  served.databases.releaseLocks();
  served.databases.beginCommand();
  EXPECT_EQ(rows(), first);
  served.databases.releaseLocks();
  served.databases.beginCommand();
  EXPECT_EQ(served.number(kLibrary, "SELECT COUNT(uuid) FROM RKVersion WHERE exifLatitude = 7"), -1);
  EXPECT_TRUE(served.databases.sawFailure());
}

TEST_F(DamagedOrBusyDatabasesTest, aQueryMayHaveAsManyRowsAsFitIntoTheFile) {
  files.execute(
      kLibrary,
      "CREATE TABLE small(n INTEGER PRIMARY KEY); WITH RECURSIVE c(n) AS (VALUES(1) UNION ALL SELECT "
      "n + 1 FROM c WHERE n < 300000) INSERT INTO small SELECT n FROM c");
  Query rows = served.databases.run(kLibrary, "SELECT n FROM small", {});
  std::size_t count = 0;
  while (rows.step()) ++count;
  EXPECT_FALSE(rows.failed());
  EXPECT_EQ(count, 300'000U);
}

TEST_F(DamagedOrBusyDatabasesTest, aFolderInAFilesPlaceCannotBeOpened) {
  fs::remove(path);
  fs::create_directory(path);
  EXPECT_FALSE(served.databases.openDatabase());
  EXPECT_EQ(served.databases.result(), SQLITE_CANTOPEN);
}

TEST_F(DamagedOrBusyDatabasesTest, aNamedPipeInAFilesPlaceIsNotWaitedFor) {
  fs::remove(path);
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  EXPECT_FALSE(served.databases.openDatabase());
}

// A file that is missing, or not a regular file, is reported elsewhere; a copy could not help.
TEST_F(DamagedOrBusyDatabasesTest, aFileThatCannotBeOpenedIsNotCopied) {
  const auto expectNoCopy = [this] {
    EXPECT_EQ(served.number(kLibrary, kCount), -1);
    EXPECT_EQ(served.databases.result(), SQLITE_CANTOPEN);
    EXPECT_EQ(copies(), 0);
    EXPECT_EQ(served.messages.count("Error", "private copy"), 0);
  };
  fs::remove(path);
  expectNoCopy();
  fs::create_directory(path);
  expectNoCopy();
}

TEST_F(DamagedOrBusyDatabasesTest, aViewInATablesPlaceIsNotRead) {
  files.execute(kLibrary, "ALTER TABLE RKVersion RENAME TO t; CREATE VIEW RKVersion AS SELECT * FROM t");
  expectUnreadable();
}

// Busy.

TEST_F(DamagedOrBusyDatabasesTest, aBusyFileIsWaitedForTwoSecondsOncePerCommand) {
  OtherProcess other(path);
  ASSERT_EQ(other.execute("BEGIN EXCLUSIVE"), SQLITE_OK);
  expectUnreadable();
  EXPECT_EQ(served.databases.result(), SQLITE_BUSY);
  EXPECT_EQ(served.slept, 2s);
  expectUnreadable();
  EXPECT_EQ(served.slept, 2s);
  served.databases.beginCommand();
  expectUnreadable();
  EXPECT_EQ(served.slept, 4s);
  ASSERT_EQ(other.execute("ROLLBACK"), SQLITE_OK);
  served.databases.beginCommand();
  EXPECT_EQ(served.number(kLibrary, kCount), 2);
  EXPECT_EQ(served.slept, 4s);
  EXPECT_FALSE(served.databases.sawFailure());
}

TEST_F(DamagedOrBusyDatabasesTest, eachFileHasItsOwnTimeToBeBusy) {
  OtherProcess library(path);
  OtherProcess faces(files.pathOf(DatabaseFile::Faces));
  ASSERT_EQ(library.execute("BEGIN EXCLUSIVE"), SQLITE_OK);
  ASSERT_EQ(faces.execute("BEGIN EXCLUSIVE"), SQLITE_OK);
  expectUnreadable();
  EXPECT_EQ(served.number(DatabaseFile::Faces, "SELECT COUNT(uuid) FROM RKFaceName"), -1);
  EXPECT_EQ(served.slept, 4s);
}

TEST_F(DamagedOrBusyDatabasesTest, aKeptConnectionMeetsABusyFileTheSameWay) {
  EXPECT_EQ(served.number(kLibrary, kCount), 2);
  served.databases.releaseLocks();
  OtherProcess other(path);
  ASSERT_EQ(other.execute("BEGIN EXCLUSIVE"), SQLITE_OK);
  expectUnreadable();
  EXPECT_EQ(served.slept, 2s);
}

TEST_F(DamagedOrBusyDatabasesTest, aWriterThatHasNotBegunToWriteDisturbsNoReader) {
  OtherProcess other(path);
  ASSERT_EQ(other.execute("BEGIN IMMEDIATE; INSERT INTO RKVersion(uuid) VALUES('c')"), SQLITE_OK);
  EXPECT_EQ(served.number(kLibrary, kCount), 2);
  EXPECT_EQ(served.slept, 0s);
  served.databases.releaseLocks();
  EXPECT_EQ(other.execute("COMMIT"), SQLITE_OK);
  EXPECT_EQ(served.number(kLibrary, kCount), 3);
}

// Private copies.

TEST_F(DamagedOrBusyDatabasesTest, aHotJournalIsRolledBackInAPrivateCopy) {
  crashWhileWriting(path);
  ASSERT_TRUE(fs::exists(path + "-journal"));
  const auto before = stateOf(files.path());
  EXPECT_EQ(served.text(kLibrary, "SELECT uuid FROM RKVersion"), Value("a"));
  EXPECT_EQ(served.number(kLibrary, "SELECT COUNT(name) FROM RKFolder"), 0);
  EXPECT_EQ(copies(), 1);
  EXPECT_EQ(stateOf(files.path()), before);
  EXPECT_EQ(served.messages.count("Info", "A private copy of it is read."), 1);
  EXPECT_FALSE(served.databases.sawFailure());
}

TEST_F(DamagedOrBusyDatabasesTest, aHotJournalBesideAKeptConnectionIsNoticed) {
  EXPECT_EQ(served.number(kLibrary, kCount), 2);
  served.databases.releaseLocks();
  crashWhileWriting(path);
  EXPECT_EQ(served.text(kLibrary, "SELECT uuid FROM RKVersion"), Value("a"));
  EXPECT_EQ(copies(), 1);
}

// A crash before the change had reached the file: only the journal shows it.
TEST_F(DamagedOrBusyDatabasesTest, aHotJournalBesideAFileThatIsAsItWasIsNoticedToo) {
  EXPECT_EQ(served.number(kLibrary, kCount), 2);
  served.databases.releaseLocks();
  std::stringstream whole;
  whole << std::ifstream(path, std::ios::binary).rdbuf();
  const auto modified = fs::last_write_time(path);
  crashWhileWriting(path);
  files.overwrite(kLibrary, whole.str());
  fs::last_write_time(path, modified);
  const auto before = stateOf(files.path());
  EXPECT_EQ(served.number(kLibrary, kCount), 2);
  EXPECT_EQ(copies(), 1);
  EXPECT_EQ(stateOf(files.path()), before);
}

TEST_F(DamagedOrBusyDatabasesTest, aPrivateCopyIsForThisUserAlone) {
  crashWhileWriting(path);
  ASSERT_EQ(served.number(kLibrary, kCount), 2);
  const fs::path folder = fs::directory_iterator(served.temporary.path())->path();
  EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all);
}

TEST_F(DamagedOrBusyDatabasesTest, aPrivateCopyIsUsedUntilTheOriginalChangesAndIsReportedOnce) {
  crashWhileWriting(path);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(served.number(kLibrary, kCount), 2);
    served.databases.releaseLocks();
    served.loop.advance(6s);
  }
  EXPECT_EQ(served.messages.count("Info", "A private copy of it is read."), 1);
  {
    OtherProcess mender(path);
    ASSERT_EQ(mender.execute("INSERT INTO RKVersion(uuid) VALUES('c')"), SQLITE_OK);
  }
  ASSERT_FALSE(fs::exists(path + "-journal"));
  EXPECT_EQ(served.number(kLibrary, kCount), 3);
  EXPECT_EQ(copies(), 0);
  EXPECT_EQ(descriptorsTo(path), 1);
}

TEST_F(DamagedOrBusyDatabasesTest, privateCopiesAreRemovedInTheEnd) {
  crashWhileWriting(path);
  const TemporaryFolder temporary;
  {
    LibrarySeams seams;
    seams.temporaryFolder = temporary.path().string();
    seams.copier = MOXTEL_COPIER;
    LibraryDatabases databases(served.loop, served.messages, seams);
    databases.useLibrary(files.path());
    EXPECT_TRUE(databases.run(kLibrary, kCount, {}).step());
    EXPECT_FALSE(fs::is_empty(temporary.path()));
  }
  EXPECT_TRUE(fs::is_empty(temporary.path()));
}

TEST_F(DamagedOrBusyDatabasesTest, aWriteAheadLogIsReadInAPrivateCopyWhileItsWriterLives) {
  OtherProcess other(path);
  ASSERT_EQ(other.execute("PRAGMA journal_mode = WAL; INSERT INTO RKVersion(uuid) VALUES('c')"), SQLITE_OK);
  ASSERT_TRUE(fs::exists(path + "-wal"));
  const auto before = stateOf(files.path());
  EXPECT_EQ(served.number(kLibrary, kCount), 3);
  EXPECT_EQ(stateOf(files.path()), before);
  served.databases.releaseLocks();
  ASSERT_EQ(other.execute("INSERT INTO RKVersion(uuid) VALUES('d')"), SQLITE_OK);
  EXPECT_EQ(served.number(kLibrary, kCount), 4);
  EXPECT_EQ(copies(), 1);
  EXPECT_EQ(served.messages.count("Info", "write-ahead log"), 1);
}

TEST_F(DamagedOrBusyDatabasesTest, aWriteAheadLogOfAWriterThatCrashedIsReadToo) {
  {
    OtherProcess other(path);
    ASSERT_EQ(other.execute("PRAGMA journal_mode = WAL; INSERT INTO RKVersion(uuid) VALUES('c')"), SQLITE_OK);
  }
  const auto before = stateOf(files.path());
  EXPECT_EQ(served.number(kLibrary, kCount), 3);
  served.databases.releaseLocks();
  EXPECT_EQ(stateOf(files.path()), before);
}

TEST_F(DamagedOrBusyDatabasesTest, aWriteAheadDatabaseWithoutSideFilesGetsNone) {
  files.execute(kLibrary, "PRAGMA journal_mode = WAL");
  ASSERT_FALSE(fs::exists(path + "-wal"));
  const auto before = stateOf(files.path());
  EXPECT_EQ(served.number(kLibrary, kCount), 2);
  served.databases.releaseLocks();
  served.loop.advance(6s);
  EXPECT_EQ(stateOf(files.path()), before);
}

TEST_F(DamagedOrBusyDatabasesTest, aFileSystemWithoutLocksIsReadFromAPrivateCopy) {
  served.locksGranted = false;
  EXPECT_TRUE(served.databases.openDatabase());
  EXPECT_EQ(served.number(kLibrary, kCount), 2);
  EXPECT_EQ(descriptorsTo(path), 0);
  EXPECT_EQ(served.messages.count("Info", "grants no locks"), 1);
}

TEST_F(DamagedOrBusyDatabasesTest, reportsThatThereIsNoRoomForACopy) {
  crashWhileWriting(path);
  served.freeBytes = fs::file_size(path) + 1;
  for (int i = 0; i < 2; ++i) {
    expectUnreadable();
    EXPECT_EQ(served.number(kLibrary, kCount), -1);
    EXPECT_EQ(served.databases.result(), SQLITE_READONLY);
    EXPECT_STREQ(served.databases.errorMessage(kLibrary), sqlite3_errstr(SQLITE_READONLY));
    served.databases.beginCommand();
  }
  EXPECT_EQ(copies(), 0);
  EXPECT_EQ(served.messages.count("Error", "No private copy could be made: there is not enough room"), 1);
}

TEST_F(DamagedOrBusyDatabasesTest, aCopyThatFailedIsNotTriedAgainInTheSameCommand) {
  crashWhileWriting(path);
  served.freeBytes = 0;
  expectUnreadable();
  expectUnreadable();
  EXPECT_EQ(served.timesAskedForRoom, 1);
  served.databases.beginCommand();
  expectUnreadable();
  EXPECT_EQ(served.timesAskedForRoom, 2);
  served.freeBytes = std::uint64_t{1} << 40;
  served.databases.beginCommand();
  EXPECT_EQ(served.number(kLibrary, kCount), 2);
}

// Copies it again and again, until it no longer changes.
TEST_F(DamagedOrBusyDatabasesTest, aFileThatIsChangedWhileItIsCopiedIsWaitedFor) {
  crashWhileWriting(path);
  std::atomic<bool> changing{true};
  std::thread other([&] {
    for (auto moment = fs::file_time_type::clock::now(); changing; moment += 1us)
      fs::last_write_time(path, moment);
  });
  const auto stop = [&] {
    changing = false;
    if (other.joinable()) other.join();
  };
  served.onSleep = stop;
  EXPECT_EQ(served.number(kLibrary, kCount), 2);
  EXPECT_LE(served.slept, 2s);
  stop();
}

TEST_F(DamagedOrBusyDatabasesTest, reportsThatThereIsNoTemporaryFolder) {
  crashWhileWriting(path);
  fs::remove_all(served.temporary.path());
  expectUnreadable();
  EXPECT_EQ(served.messages.count("Error", "No private copy could be made: no folder can be made in "), 1);
}

TEST_F(DamagedOrBusyDatabasesTest, aPrivateCopyIsReadOnlyForQueries) {
  crashWhileWriting(path);
  ASSERT_EQ(served.number(kLibrary, kCount), 2);
  EXPECT_FALSE(served.databases.run(kLibrary, "DELETE FROM RKVersion", {}).prepared());
}

}  // namespace
}  // namespace moxtel::test
