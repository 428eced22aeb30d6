// Libraries of Photos keep their database with a write-ahead log: how it is read without a change in the
// library.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "library/LibraryChanges.h"
#include "library/albumdata/AlbumData.h"
#include "makelibrary/MakeLibrary.h"
#include "makelibrary/MakeLibraryOptions.h"
#include "tests/library/ServedLibrary.h"

namespace moxtel::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr DatabaseFile kLibrary = DatabaseFile::Library;
constexpr SqlText kTitle("SELECT name FROM RKVersion WHERE modelId = 1");
constexpr const char* kOne = "UPDATE ZADDITIONALASSETATTRIBUTES SET ZTITLE = 'One' WHERE ZASSET = 1";
constexpr const char* kTwo = "UPDATE ZADDITIONALASSETATTRIBUTES SET ZTITLE = 'Two' WHERE ZASSET = 1";

class WriteAheadLogTest : public testing::Test {
 protected:
  WriteAheadLogTest() {
    makelibrary::MakeLibraryOptions options;
    options.kind = makelibrary::LibraryKind::Photos5;
    options.photos = 20;
    options.images = makelibrary::Images::None;
    // What has a meaning in a URI.
    options.folder = library = folder.path() / "100% ?mode=rw#1";
    makelibrary::makeLibrary(options);
    path = (library / "database" / "Photos.sqlite").string();
    fs::remove(path + "-wal");
    fs::remove(path + "-shm");
  }
  void serve() { served = std::make_unique<ServedLibrary>(library.string()); }
  // A program that works on the library and has changed a title.
  std::unique_ptr<OtherProcess> writer() {
    auto other = std::make_unique<OtherProcess>(path);
    EXPECT_EQ(other->execute("PRAGMA wal_autocheckpoint = 0"), SQLITE_OK);
    EXPECT_EQ(other->execute(kOne), SQLITE_OK);
    EXPECT_GT(fs::file_size(path + "-wal"), 0u);
    return other;
  }
  // The title as a command of its own reads it. Nothing in the library changes.
  Value title() {
    const auto before = stateOf(library.string());
    served->databases.beginCommand();
    const Value found = served->text(kLibrary, kTitle);
    served->databases.releaseLocks();
    EXPECT_EQ(stateOf(library.string()), before);
    return found;
  }
  bool hasCopy() const { return !fs::is_empty(served->temporary.path()); }

  TemporaryFolder folder;
  fs::path library;
  std::string path;
  std::unique_ptr<ServedLibrary> served;
};

TEST_F(WriteAheadLogTest, withoutALogTheFileIsReadWhereItIs) {
  serve();
  EXPECT_EQ(served->number(kLibrary, "SELECT COUNT(modelId) FROM RKVersion WHERE modelId = 1"), 1);
  title();
  EXPECT_FALSE(hasCopy());
  EXPECT_GT(descriptorsTo(path), 0);
  EXPECT_EQ(served->messages.count("Info", "write-ahead log"), 0);
  EXPECT_FALSE(served->databases.mustReadAgain());
  served->loop.advance(6s);
  EXPECT_EQ(descriptorsTo(path), 0);
}

TEST_F(WriteAheadLogTest, anEmptyLogIsNone) {
  std::ofstream(path + "-wal") << "";
  serve();
  title();
  EXPECT_FALSE(hasCopy());
}

TEST_F(WriteAheadLogTest, withoutALogNoLocksAreNeeded) {
  serve();
  served->locksGranted = false;
  title();
  EXPECT_FALSE(hasCopy());
}

TEST_F(WriteAheadLogTest, aLogIsReadWhileItsWriterLives) {
  const auto other = writer();
  serve();
  EXPECT_EQ(title(), Value("One"));
  ASSERT_EQ(other->execute(kTwo), SQLITE_OK);
  EXPECT_EQ(title(), Value("Two"));
  EXPECT_FALSE(hasCopy());
  EXPECT_FALSE(served->databases.mustReadAgain());
}

TEST_F(WriteAheadLogTest, aWriterIsNotHinderedByAReading) {
  const auto other = writer();
  serve();
  served->databases.beginCommand();
  EXPECT_EQ(served->text(kLibrary, kTitle), Value("One"));
  EXPECT_EQ(other->execute(kTwo), SQLITE_OK);
  served->databases.releaseLocks();
  EXPECT_EQ(other->execute("PRAGMA wal_checkpoint(TRUNCATE)"), SQLITE_OK);
  EXPECT_EQ(title(), Value("Two"));
}

TEST_F(WriteAheadLogTest, theLogOfAWriterThatCrashedIsRead) {
  writer().reset();
  ASSERT_TRUE(fs::exists(path + "-shm"));
  serve();
  EXPECT_EQ(title(), Value("One"));
  EXPECT_FALSE(hasCopy());
}

TEST_F(WriteAheadLogTest, aLogWithoutSharedMemoryIsReadInACopy) {
  writer().reset();
  fs::remove(path + "-shm");
  serve();
  EXPECT_EQ(title(), Value("One"));
  EXPECT_TRUE(hasCopy());
}

TEST_F(WriteAheadLogTest, aLogOnANetworkIsReadInACopy) {
  const auto other = writer();
  serve();
  served->isOnLocalDisk = false;
  EXPECT_EQ(title(), Value("One"));
  EXPECT_TRUE(hasCopy());
}

TEST_F(WriteAheadLogTest, sharedMemoryThatIsNoFileLeadsToACopy) {
  writer().reset();
  fs::remove(path + "-shm");
  fs::create_directory(path + "-shm");
  serve();
  EXPECT_EQ(title(), Value("One"));
  EXPECT_TRUE(hasCopy());
}

TEST_F(WriteAheadLogTest, aCopyIsRenewedAtMostOnceAMinute) {
  const auto other = writer();
  serve();
  served->isOnLocalDisk = false;
  EXPECT_EQ(title(), Value("One"));
  ASSERT_EQ(other->execute(kTwo), SQLITE_OK);
  served->now += 59s;
  EXPECT_EQ(title(), Value("One"));
  EXPECT_FALSE(served->databases.takeOutdated());
  served->now += 1s;
  EXPECT_TRUE(served->databases.takeOutdated());
  EXPECT_EQ(title(), Value("Two"));
  EXPECT_FALSE(served->databases.takeOutdated());
  EXPECT_EQ(served->timesAskedForRoom, 2);
}

TEST_F(WriteAheadLogTest, aCopyOfAnotherFileIsRenewedAtOnce) {
  const auto other = writer();
  serve();
  served->isOnLocalDisk = false;
  EXPECT_EQ(title(), Value("One"));
  fs::copy_file(path, path + ".new");
  fs::rename(path + ".new", path);
  EXPECT_EQ(title(), Value("One"));
  EXPECT_EQ(served->timesAskedForRoom, 2);
}

TEST_F(WriteAheadLogTest, aCopyEndsWithTheLog) {
  auto other = writer();
  serve();
  served->isOnLocalDisk = false;
  title();
  ASSERT_EQ(other->execute(kTwo), SQLITE_OK);
  ASSERT_EQ(other->execute("PRAGMA wal_checkpoint(TRUNCATE)"), SQLITE_OK);
  EXPECT_EQ(title(), Value("Two"));
  EXPECT_FALSE(hasCopy());
}

TEST_F(WriteAheadLogTest, listsFromAnOutdatedCopyAreDroppedWhenItIsRenewed) {
  const auto other = writer();
  serve();
  served->isOnLocalDisk = false;
  AlbumData albumData(served->location, served->files, served->messages);
  LibraryChanges changes(served->location, served->databases, served->library, albumData,
                         [this] { return served->now; });
  int dropped = 0;
  changes.onChange([&] { ++dropped; });
  title();
  changes.remember();
  ASSERT_EQ(other->execute(kTwo), SQLITE_OK);
  changes.check();
  EXPECT_EQ(dropped, 1);
  EXPECT_EQ(title(), Value("One"));
  changes.check();
  EXPECT_EQ(dropped, 1);
  served->now += 1min;
  changes.check();
  EXPECT_EQ(dropped, 2);
  EXPECT_EQ(title(), Value("Two"));
  changes.check();
  EXPECT_EQ(dropped, 2);
}

TEST_F(WriteAheadLogTest, whatWasReadDuringAChangeIsReadAgain) {
  serve();
  served->databases.beginCommand();
  (void)served->text(kLibrary, kTitle);
  EXPECT_FALSE(served->databases.sawFailure());
  writer().reset();
  served->databases.releaseLocks();
  EXPECT_TRUE(served->databases.mustReadAgain());
  EXPECT_TRUE(served->databases.sawFailure());
  EXPECT_TRUE(served->databases.takeOutdated());
  served->databases.beginCommandAgain();
  EXPECT_EQ(served->text(kLibrary, kTitle), Value("One"));
  served->databases.releaseLocks();
  EXPECT_FALSE(served->databases.mustReadAgain());
  EXPECT_FALSE(served->databases.sawFailure());
}

// It could change at each reading.
TEST_F(WriteAheadLogTest, theSecondReadingOfAFileWithoutALogIsOneOfACopy) {
  serve();
  const auto change = [&] { fs::last_write_time(path, fs::last_write_time(path) + 1s); };
  served->databases.beginCommand();
  (void)served->text(kLibrary, kTitle);
  change();
  served->databases.releaseLocks();
  ASSERT_TRUE(served->databases.mustReadAgain());
  served->databases.beginCommandAgain();
  (void)served->text(kLibrary, kTitle);
  EXPECT_TRUE(hasCopy());
  change();
  served->databases.releaseLocks();
  EXPECT_FALSE(served->databases.mustReadAgain());
}

TEST_F(WriteAheadLogTest, aConnectionToACopyIsKept) {
  writer().reset();
  fs::remove(path + "-shm");
  serve();
  title();
  const fs::path copy = fs::directory_iterator(served->temporary.path())->path() / "database";
  EXPECT_GT(descriptorsTo(copy.string()), 0);
  served->loop.advance(6s);
  EXPECT_GT(descriptorsTo(copy.string()), 0);
}

}  // namespace
}  // namespace moxtel::test
