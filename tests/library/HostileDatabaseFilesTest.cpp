// Databases of a library whose maker wants to harm the server: files that are no files, links from one name
// to another, sizes that are not real. And what private copies may cost.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "library/albumdata/AlbumDataFile.h"
#include "platform/files/Files.h"
#include "tests/library/ServedLibrary.h"

namespace moxtel::test {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

constexpr DatabaseFile kLibrary = DatabaseFile::Library;
constexpr DatabaseFile kProxies = DatabaseFile::ImageProxies;
constexpr DatabaseFile kFaces = DatabaseFile::Faces;
constexpr SqlText kCount = "SELECT COUNT(uuid) FROM RKVersion";
constexpr SqlText kUuids = "SELECT uuid FROM RKVersion";

// The POSIX locks of this process on a file, from /proc/locks. The kernel makes that text piece by piece:
// while other processes lock, a line may appear twice or be left out, so it is read several times.
std::size_t locksOn(const std::string& file) {
  struct stat status {};
  EXPECT_EQ(::stat(file.c_str(), &status), 0);
  std::set<std::string> found;
  for (int i = 0; i < 5; ++i) {
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
      std::istringstream words(line);
      std::string number, kind, mode, access, place, range;
      pid_t owner = 0;
      words >> number >> kind >> mode >> access >> owner >> place;
      std::getline(words, range);
      const bool isThis = place.ends_with(":" + std::to_string(status.st_ino));
      if (kind == "POSIX" && owner == ::getpid() && isThis) found.insert(access + range);
    }
  }
  return found.size();
}

void makeFifo(const std::string& path) { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); }

void makeSocket(const std::string& path) {
  const FileDescriptor made(::socket(AF_UNIX, SOCK_STREAM, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  ASSERT_LT(path.size(), sizeof address.sun_path);
  path.copy(address.sun_path, path.size());
  ASSERT_EQ(::bind(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
}

// Notices when a file in a folder is opened, by any process.
class OpenWatch final {
 public:
  explicit OpenWatch(const std::string& folder) : events_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    EXPECT_GE(::inotify_add_watch(events_.get(), folder.c_str(), IN_OPEN), 0);
  }
  bool sawOpening() const {
    std::array<char, 4096> event{};
    return ::read(events_.get(), event.data(), event.size()) > 0;
  }

 private:
  FileDescriptor events_;
};

std::string big32(std::uint32_t number) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift & 0xFF);
  return bytes;
}

// The end of a journal that names a super-journal (https://sqlite.org/fileformat2.html, 3; pager.c).
std::string superJournalRecord(const std::string& name, std::uint32_t lockPage) {
  std::uint32_t sum = 0;
  for (const char byte : name) sum += static_cast<std::uint32_t>(byte);
  return big32(lockPage) + name + big32(static_cast<std::uint32_t>(name.size())) + big32(sum) +
         "\xd9\xd5\x05\xf9\x20\xa1\x63\xd7";
}

class HostileDatabaseFilesTest : public testing::Test {
 protected:
  HostileDatabaseFilesTest() {
    for (const char* uuid : {"a", "b"}) files.insert("RKVersion", {{"uuid", uuid}});
  }
  void nameSuperJournal(const std::string& name) {
    constexpr std::uint32_t kPageSize = 16384;
    std::ofstream(path + "-journal", std::ios::app | std::ios::binary)
        << superJournalRecord(name, 0x40000000 / kPageSize + 1);
  }
  // Another name for the same file.
  void linkTo(const std::string& file, const std::string& name) {
    fs::remove(name);
    fs::create_hard_link(file, name);
  }
  std::string inFolder(const std::string& name) const { return (elsewhere.path() / name).string(); }

  TemporaryFolder elsewhere;
  TestLibrary files;
  std::string path = files.pathOf(kLibrary);
  ServedLibrary served{files.path()};
};

TEST_F(HostileDatabaseFilesTest, opensNoJournalThatIsNoRegularFile) {
  for (const char* kind : {"-journal", "-wal"}) {
    const std::string name = path + kind;
    const auto expectRead = [&] {
      served.databases.beginCommand();
      EXPECT_EQ(served.number(kLibrary, kCount), 2) << name;
      served.databases.releaseLocks();
      fs::remove(name);
    };
    makeFifo(name);
    expectRead();
    makeSocket(name);
    expectRead();
    fs::create_directory(name);
    expectRead();
    if (::mknod(name.c_str(), S_IFCHR | 0600, makedev(1, 3)) == 0) expectRead();
  }
}

TEST_F(HostileDatabaseFilesTest, doesNotOpenANamedPipeAsASuperJournal) {
  crashWhileWriting(path);
  makeFifo(inFolder("super"));
  nameSuperJournal(inFolder("super"));
  EXPECT_EQ(served.text(kLibrary, kUuids), Value("a"));
}

TEST_F(HostileDatabaseFilesTest, opensNeitherASuperJournalNorWhatItLists) {
  crashWhileWriting(path);
  makeFifo(inFolder("child"));
  std::ofstream(inFolder("super"), std::ios::binary) << inFolder("child") << '\0';
  nameSuperJournal(inFolder("super"));
  const OpenWatch watch(elsewhere.path());
  EXPECT_EQ(served.text(kLibrary, kUuids), Value("a"));
  EXPECT_FALSE(watch.sawOpening());
  EXPECT_TRUE(fs::exists(inFolder("super")));
}

// The locks of a transaction.

TEST_F(HostileDatabaseFilesTest, copyingAFileThatIsOpenKeepsItsLocks) {
  linkTo(path, files.pathOf(kProxies));
  Query rows = served.databases.run(kLibrary, kUuids, {});
  ASSERT_TRUE(rows.step());
  const std::size_t before = locksOn(path);
  ASSERT_GT(before, 0u);
  served.locksGranted = false;
  EXPECT_EQ(served.number(kProxies, kCount), 2);
  EXPECT_EQ(served.messages.count("Info", "A private copy of it is read."), 1);
  EXPECT_EQ(locksOn(path), before);
}

TEST_F(HostileDatabaseFilesTest, checkingWhetherAFileSystemGrantsLocksKeepsThem) {
  LibrarySeams seams = served.seams();
  seams.grantsLocks = LibrarySeams().grantsLocks;
  LibraryDatabases databases(served.loop, served.messages, seams);
  databases.useLibrary(files.path());
  linkTo(path, files.pathOf(kProxies));
  Query rows = databases.run(kLibrary, kUuids, {});
  ASSERT_TRUE(rows.step());
  const std::size_t before = locksOn(path);
  ASSERT_GT(before, 0u);
  EXPECT_TRUE(databases.openProxiesDB());
  EXPECT_EQ(locksOn(path), before);
}

TEST_F(HostileDatabaseFilesTest, doesNotOpenADatabaseAsAJournal) {
  files.insert("RKFaceName", {{"uuid", "n"}});
  const std::string faces = files.pathOf(kFaces);
  Query rows = served.databases.run(kFaces, "SELECT uuid FROM RKFaceName", {});
  ASSERT_TRUE(rows.step());
  const std::size_t before = locksOn(faces);
  ASSERT_GT(before, 0u);
  fs::create_hard_link(faces, path + "-journal");
  served.number(kLibrary, kCount);
  EXPECT_EQ(locksOn(faces), before);
}

TEST_F(HostileDatabaseFilesTest, doesNotOpenADatabaseAsAPicture) {
  const std::string picture = files.path() + "/Masters/picture.jpg";
  fs::create_directories(files.path() + "/Masters");
  fs::create_hard_link(path, picture);
  Query rows = served.databases.run(kLibrary, kUuids, {});
  ASSERT_TRUE(rows.step());
  const std::size_t before = locksOn(path);
  ASSERT_GT(before, 0u);
  EXPECT_EQ(served.files.open(files.path(), picture).file.state, FileState::Unreadable);
  EXPECT_EQ(locksOn(path), before);
}

TEST_F(HostileDatabaseFilesTest, doesNotOpenADatabaseAsAlbumData) {
  const std::string albums = files.path() + "/AlbumData.xml";
  linkTo(path, albums);
  Query rows = served.databases.run(kLibrary, kUuids, {});
  ASSERT_TRUE(rows.step());
  const std::size_t before = locksOn(path);
  ASSERT_GT(before, 0u);
  EXPECT_EQ(readAlbumDataFile(albums).error, "it is a database");
  EXPECT_EQ(locksOn(path), before);
}

// Sizes that are not real.

TEST_F(HostileDatabaseFilesTest, holesDoNotRaiseTheLimitOfRows) {
  files.execute(kLibrary,
                "CREATE TABLE small(n INTEGER PRIMARY KEY); WITH RECURSIVE c(n) AS (VALUES(1) UNION ALL "
                "SELECT n + 1 FROM c WHERE n < 1000) INSERT INTO small SELECT n FROM c");
  fs::resize_file(path, std::uintmax_t{100} << 30);
  Query rows = served.databases.run(kLibrary, "SELECT a.n FROM small a, small b", {});
  int count = 0;
  while (rows.step()) ++count;
  EXPECT_LE(count, 200'000);
  EXPECT_TRUE(rows.failed());
}

// The end of the program.

TEST_F(HostileDatabaseFilesTest, aLongQueryEndsWithTheProgram) {
  files.execute(kLibrary,
                "CREATE TABLE small(n INTEGER PRIMARY KEY); WITH RECURSIVE c(n) AS (VALUES(1) UNION ALL "
                "SELECT n + 1 FROM c WHERE n < 300000) INSERT INTO small SELECT n FROM c");
  Query rows = served.databases.run(kLibrary, "SELECT n FROM small", {});
  ASSERT_TRUE(rows.step());
  served.isEnding = true;
  int count = 1;
  while (rows.step()) ++count;
  EXPECT_LT(count, 300'000);
  EXPECT_TRUE(rows.failed());
}

TEST_F(HostileDatabaseFilesTest, aBusyFileIsNotWaitedForWhenTheProgramEnds) {
  OtherProcess other(path);
  ASSERT_EQ(other.execute("BEGIN EXCLUSIVE"), SQLITE_OK);
  served.isEnding = true;
  EXPECT_EQ(served.number(kLibrary, kCount), -1);
  EXPECT_EQ(served.slept, 0s);
}

TEST_F(HostileDatabaseFilesTest, copyingEndsWithTheProgram) {
  const std::string copier = inFolder("copier");
  std::ofstream(copier) << "#!/bin/sh\nexec sleep 1000\n";
  fs::permissions(copier, fs::perms::owner_all);
  served.locksGranted = false;
  LibrarySeams seams = served.seams();
  seams.copier = copier;
  bool isRunning = false;
  seams.run = [&](const ProcessRequest& request) {
    isRunning = true;
    return SystemProcessRunner().run(request);
  };
  seams.isEnding = [&] { return isRunning; };
  LibraryDatabases databases(served.loop, served.messages, seams);
  databases.useLibrary(files.path());
  EXPECT_FALSE(databases.openDatabase());
  EXPECT_TRUE(isRunning);
  EXPECT_TRUE(fs::is_empty(served.temporary.path()));
}

// What private copies cost.

TEST_F(HostileDatabaseFilesTest, privateCopiesKeepHoles) {
  fs::resize_file(path, std::uintmax_t{100} << 30);
  served.freeBytes = 1 << 30;
  served.locksGranted = false;
  EXPECT_EQ(served.number(kLibrary, kCount), 2);
  const fs::path folder = fs::directory_iterator(served.temporary.path())->path();
  struct stat status {};
  ASSERT_EQ(::stat((folder / "database").c_str(), &status), 0);
  EXPECT_EQ(status.st_size, off_t{100} << 30);
  EXPECT_LT(status.st_blocks * 512, 10 << 20);
}

TEST_F(HostileDatabaseFilesTest, privateCopiesHaveALimit) {
  files.execute(kLibrary, "CREATE TABLE much(a); INSERT INTO much VALUES(randomblob(2000000))");
  served.locksGranted = false;
  LibrarySeams seams = served.seams();
  seams.copyLimit = 1 << 20;
  LibraryDatabases databases(served.loop, served.messages, seams);
  databases.useLibrary(files.path());
  EXPECT_FALSE(databases.openDatabase());
  EXPECT_EQ(served.messages.count("Error", "it is larger than 1 MB, the limit (-PrivateCopyLimit)"), 1);
  EXPECT_TRUE(fs::is_empty(served.temporary.path()));
}

TEST_F(HostileDatabaseFilesTest, copiesThatAnEarlierRunLeftBehindAreDeletedAtTheStart) {
  const fs::path left = served.temporary.path() / "moxtel-database-abcDEF";
  fs::create_directory(left);
  fs::permissions(left, fs::perms::owner_all);
  std::ofstream(left / "database") << "old";
  served.locksGranted = false;
  ASSERT_EQ(served.number(kLibrary, kCount), 2);
  const LibraryDatabases other(served.loop, served.messages, served.seams());
  EXPECT_FALSE(fs::exists(left));
  EXPECT_EQ(std::distance(fs::directory_iterator(served.temporary.path()), {}), 1) << "the one in use stays";
}

}  // namespace
}  // namespace moxtel::test
