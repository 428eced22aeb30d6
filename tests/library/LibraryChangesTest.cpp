#include "library/LibraryChanges.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "library/albumdata/AlbumData.h"
#include "tests/library/ServedLibrary.h"

namespace moxtel::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr const char* kAlbumData =
    "<plist version=\"1.0\"><dict><key>List of Albums</key><array><dict><key>GUID</key><string>a</string>"
    "</dict></array></dict></plist>";

class LibraryChangesTest : public testing::Test {
 protected:
  LibraryChangesTest() {
    changes.onChange([this] { ++dropped; });
  }
  void start() {
    served.library.loadDatabase();
    changes.remember();
    albumData.loadAlbumData();
  }
  // Whether a check notices a change; a second check must not notice it again.
  bool notices() {
    const int before = dropped;
    changes.check();
    const bool noticed = dropped > before;
    changes.check();
    EXPECT_EQ(dropped, before + (noticed ? 1 : 0));
    return noticed;
  }
  fs::path albumFile() const { return fs::path(files.path()) / "AlbumData.xml"; }
  // In place or by a new file, but never with another date.
  static void write(const fs::path& path, const std::string& bytes) {
    const auto date = fs::exists(path) ? fs::last_write_time(path) : fs::file_time_type::clock::now();
    std::ofstream(path, std::ios::binary) << bytes;
    fs::last_write_time(path, date);
  }

  TestLibrary files;
  ServedLibrary served{files.path()};
  AlbumData albumData{served.location, served.files, served.messages};
  std::chrono::steady_clock::time_point now;
  LibraryChanges changes{served.location, served.databases, served.library, albumData,
                         [this] { return now; }};
  int dropped = 0;
};

TEST_F(LibraryChangesTest, areNoneWhileNoFileChanges) {
  start();
  EXPECT_FALSE(notices());
  // Reading changes nothing that counts.
  EXPECT_EQ(served.number(DatabaseFile::Library, "SELECT COUNT(uuid) FROM RKVersion"), 0);
  EXPECT_FALSE(notices());
}

TEST_F(LibraryChangesTest, areThoseOfEachDatabasesSizeTimeAndInode) {
  start();
  for (const auto file :
       {DatabaseFile::Library, DatabaseFile::ImageProxies, DatabaseFile::Properties, DatabaseFile::Faces}) {
    const fs::path path = files.pathOf(file);
    const auto date = fs::last_write_time(path);
    fs::last_write_time(path, date + 1s);
    EXPECT_TRUE(notices()) << path << ": a later date";
    fs::last_write_time(path, date - std::chrono::hours(24 * 365));
    EXPECT_TRUE(notices()) << path << ": an older date";
    // A copy of the same size and date.
    const fs::path copy = path.string() + ".copy";
    fs::copy_file(path, copy);
    fs::last_write_time(copy, fs::last_write_time(path));
    fs::rename(copy, path);
    EXPECT_TRUE(notices()) << path << ": another inode";
    const auto kept = fs::last_write_time(path);
    fs::resize_file(path, fs::file_size(path) + 4096);
    fs::last_write_time(path, kept);
    EXPECT_TRUE(notices()) << path << ": another size";
  }
}

TEST_F(LibraryChangesTest, areThoseOfWriteAheadLogs) {
  start();
  for (const auto file :
       {DatabaseFile::Library, DatabaseFile::ImageProxies, DatabaseFile::Properties, DatabaseFile::Faces}) {
    const fs::path log = files.pathOf(file) + "-wal";
    write(log, "");
    EXPECT_TRUE(notices()) << log << " appears";
    write(log, "12345678");
    EXPECT_TRUE(notices()) << log << " grows";
    fs::remove(log);
    EXPECT_TRUE(notices()) << log << " vanishes";
  }
}

TEST_F(LibraryChangesTest, areThoseOfTheFileThatALinkLeadsTo) {
  const fs::path path = files.pathOf(DatabaseFile::Library);
  const fs::path elsewhere = path.string() + ".elsewhere";
  fs::rename(path, elsewhere);
  fs::create_symlink(elsewhere, path);
  start();
  EXPECT_FALSE(notices());
  write(elsewhere.string() + "-wal", "");
  EXPECT_TRUE(notices());
}

TEST_F(LibraryChangesTest, readTheAlbumFileAgain) {
  start();
  std::ofstream(albumFile()) << kAlbumData;
  // As a copy that keeps old dates makes it, after the server looked for it.
  fs::last_write_time(albumFile(), fs::file_time_type::clock::now() - std::chrono::hours(24 * 365 * 9));
  int readBefore = 0;
  changes.onChange([&] { readBefore = static_cast<int>(albumData.containerDicts().size()); });
  changes.check();
  EXPECT_EQ(readBefore, 1) << "the lists are built from it";
  changes.onChange([this] { ++dropped; });
  write(albumFile(), "<plist version=\"1.0\"><dict/></plist>");
  EXPECT_TRUE(notices());
  EXPECT_TRUE(albumData.containerDicts().empty());
  // Without the file everything stays as it was.
  write(albumFile(), kAlbumData);
  EXPECT_TRUE(notices());
  fs::remove(albumFile());
  EXPECT_TRUE(notices());
  EXPECT_EQ(albumData.containerDicts().size(), 1u);
}

TEST_F(LibraryChangesTest, areThoseOfTheOtherAlbumFile) {
  const fs::path other = fs::path(files.path()) / "iLifeShared/AlbumData2.xml";
  fs::create_directory(other.parent_path());
  start();
  write(other, kAlbumData);
  EXPECT_TRUE(notices()) << "it appears";
  fs::last_write_time(other, fs::last_write_time(other) - std::chrono::hours(24 * 365));
  EXPECT_TRUE(notices()) << "an older date";
  write(other, "<plist version=\"1.0\"><dict/></plist>");
  EXPECT_TRUE(notices()) << "another size";
  fs::remove(other);
  EXPECT_TRUE(notices()) << "it vanishes";
}

TEST_F(LibraryChangesTest, doNotReadTheAlbumFileAgainForADatabase) {
  std::ofstream(albumFile()) << "rubbish";
  start();
  served.messages.lines.clear();
  const auto path = files.pathOf(DatabaseFile::Faces);
  fs::last_write_time(path, fs::last_write_time(path) + 1s);
  EXPECT_TRUE(notices());
  EXPECT_TRUE(served.messages.lines.empty());
}

TEST_F(LibraryChangesTest, includeAnAlbumFileThatCanBeReadAgain) {
  std::ofstream(albumFile()) << kAlbumData;
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  const auto withoutDescriptors = [&](auto action) {
    const int next = ::dup(0);
    ::close(next);
    const rlimit none{static_cast<rlim_t>(next), limit.rlim_max};
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    action();
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  };
  withoutDescriptors([this] { start(); });
  EXPECT_TRUE(albumData.couldNotBeRead());
  EXPECT_EQ(served.messages.count("Error", "it cannot be opened"), 1);
  withoutDescriptors([this] { changes.check(); });
  EXPECT_EQ(served.messages.count("Error", "it cannot be opened"), 1) << "the message is not repeated";
  EXPECT_TRUE(notices());
  EXPECT_FALSE(albumData.couldNotBeRead());
  EXPECT_EQ(albumData.containerDicts().size(), 1u);
}

TEST_F(LibraryChangesTest, areLookedForAtMostEveryFiveSecondsOfListings) {
  start();
  const fs::path path = files.pathOf(DatabaseFile::Library);
  const auto change = [&] { fs::last_write_time(path, fs::last_write_time(path) + 1s); };
  change();
  now += 4999ms;
  changes.checkBeforeListing();
  EXPECT_EQ(dropped, 0);
  now += 1ms;
  changes.checkBeforeListing();
  EXPECT_EQ(dropped, 1);
  change();
  changes.checkBeforeListing();
  EXPECT_EQ(dropped, 1);
  changes.check();
  EXPECT_EQ(dropped, 2) << "at a connect at once";
  change();
  now += 4999ms;
  changes.checkBeforeListing();
  EXPECT_EQ(dropped, 2) << "the connect's check counts";
}

TEST_F(LibraryChangesTest, areNoneWhileTheLibraryIsMissing) {
  start();
  const fs::path folder = files.path();
  const fs::path away = folder.string() + ".away";
  fs::rename(folder, away);
  EXPECT_FALSE(notices());
  fs::rename(away, folder);
  EXPECT_FALSE(notices()) << "it is back as it was";
  fs::rename(folder, away);
  EXPECT_FALSE(notices());
  fs::last_write_time(away / "Database/apdb/Library.apdb", fs::file_time_type::clock::now());
  fs::rename(away, folder);
  changes.checkBeforeListing();
  EXPECT_EQ(dropped, 1) << "without waiting";
}

TEST_F(LibraryChangesTest, includeALibraryThatComesLate) {
  std::ofstream(albumFile()) << kAlbumData;
  const fs::path folder = files.path();
  const fs::path away = folder.string() + ".away";
  fs::rename(folder, away);
  LoadedLibrary late(served.location, served.databases, served.messages);
  LibraryChanges lateChanges(served.location, served.databases, late, albumData);
  lateChanges.onChange([this] { ++dropped; });
  late.loadDatabase();
  lateChanges.remember();
  albumData.loadAlbumData();
  EXPECT_FALSE(late.usingDB());
  lateChanges.checkBeforeListing();
  EXPECT_EQ(dropped, 0);
  fs::rename(away, folder);
  lateChanges.checkBeforeListing();
  EXPECT_EQ(dropped, 1);
  EXPECT_TRUE(late.usingDB());
  EXPECT_EQ(albumData.containerDicts().size(), 1u);
}

TEST_F(LibraryChangesTest, includeAnotherLibrary) {
  start();
  const TestLibrary another("Another");
  served.defaults.setString("LibraryPath", another.path());
  served.library.loadDatabase();
  EXPECT_TRUE(notices());
}

// The databases of one kind of library have other names than those of another.
TEST_F(LibraryChangesTest, followTheDatabasesToOtherFiles) {
  start();
  const TestLibrary another("Another");
  served.databases.useLibrary(another.path());
  EXPECT_TRUE(notices());
  const fs::path path = another.pathOf(DatabaseFile::Library);
  fs::last_write_time(path, fs::last_write_time(path) + 1s);
  EXPECT_TRUE(notices());
}

TEST_F(LibraryChangesTest, areNoneWithoutALibrary) {
  ServedLibrary none;
  LibraryChanges noChanges(none.location, none.databases, none.library, albumData);
  noChanges.onChange([this] { ++dropped; });
  noChanges.remember();
  noChanges.check();
  noChanges.checkBeforeListing();
  EXPECT_EQ(dropped, 0);
}

}  // namespace
}  // namespace moxtel::test
