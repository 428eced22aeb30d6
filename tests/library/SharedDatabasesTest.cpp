// Readers of one library on threads of their own: what they make once for all of them.
#include "library/database/SharedDatabases.h"

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "library/database/LibraryDatabases.h"
#include "makelibrary/MakeLibrary.h"
#include "makelibrary/MakeLibraryOptions.h"
#include "platform/files/Files.h"
#include "tests/TemporaryFolder.h"
#include "tests/fakes/FakeEventLoop.h"
#include "tests/fakes/RecordingMessages.h"
#include "tests/library/ServedLibrary.h"

namespace moxtel::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr std::ptrdiff_t kReaders = 3;
constexpr std::int64_t kPhotos = 60;

// What reads a library on a thread.
struct Reader {
  Reader(const std::string& library, const LibrarySeams& seams) : databases(loop, messages, seams) {
    databases.useLibrary(library);
  }
  // What a command of its own reads.
  std::string text(SqlText sql) {
    databases.beginCommand();
    Query query = databases.run(DatabaseFile::Library, sql, {});
    const Value found = query.step() ? query.stringColumn(0) : Value();
    databases.releaseLocks();
    return std::string(found.string());
  }

  FakeEventLoop loop;
  RecordingMessages messages;
  LibraryDatabases databases;
};

class SharedDatabasesTest : public testing::Test {
 protected:
  void make(makelibrary::LibraryKind kind) {
    makelibrary::MakeLibraryOptions options;
    options.kind = kind;
    options.photos = kPhotos;
    options.images = makelibrary::Images::None;
    options.folder = library = folder.path() / "library";
    makelibrary::makeLibrary(options);
  }
  // Changes a database with a log, as an application on another computer.
  void change(const std::string& file, const std::string& sql) const {
    const std::string path = (library / file).string();
    OtherProcess other(path);
    ASSERT_EQ(other.execute("PRAGMA journal_mode = WAL"), SQLITE_OK);
    ASSERT_EQ(other.execute("PRAGMA wal_autocheckpoint = 0"), SQLITE_OK);
    ASSERT_EQ(other.execute(sql), SQLITE_OK);
    ASSERT_GT(fs::file_size(path + "-wal"), 0u);
  }
  LibrarySeams seams() {
    LibrarySeams answers;
    answers.temporaryFolder = temporary.path().string();
    answers.copier = MOXTEL_COPIER;
    answers.isOnLocalDisk = [](const std::string&) { return false; };
    answers.now = [this] { return std::chrono::steady_clock::time_point(now.load()); };
    answers.shared = shared;
    return answers;
  }
  // Runs the same on three readers at the same time, each on a thread of its own.
  void onEach(const std::function<void(Reader&)>& task) {
    std::barrier start(kReaders), done(kReaders);
    std::vector<std::thread> threads;
    for (std::ptrdiff_t i = 0; i < kReaders; ++i)
      threads.emplace_back([&] {
        Reader reader(library.string(), seams());
        start.arrive_and_wait();
        task(reader);
        done.arrive_and_wait();
      });
    for (std::thread& each : threads) each.join();
  }
  std::ptrdiff_t copies() const {
    return std::distance(fs::directory_iterator(temporary.path()), fs::directory_iterator());
  }

  TemporaryFolder folder, temporary;
  fs::path library;
  std::atomic<std::chrono::steady_clock::duration> now{1h};
  std::shared_ptr<SharedDatabases> shared = std::make_shared<SharedDatabases>();
};

constexpr const char* kPhotos4 = "database/photos.db";
constexpr const char* kPhotos5 = "database/Photos.sqlite";
constexpr SqlText kName("SELECT name FROM RKVersion WHERE modelId = 2");
constexpr SqlText kAllPhotos("SELECT count(modelId) FROM RKVersion");
constexpr SqlText kMembers("SELECT count(modelId) FROM RKAlbumVersion");
constexpr SqlText kWithEvents("SELECT count(projectUuid) FROM RKVersion");
constexpr const char* kOne = "UPDATE RKVersion SET name = 'One' WHERE modelId = 2";
constexpr const char* kTwo = "UPDATE RKVersion SET name = 'Two' WHERE modelId = 2";

TEST_F(SharedDatabasesTest, readersOfALibraryWithALogMakeOneCopy) {
  make(makelibrary::LibraryKind::Photos4);
  change(kPhotos4, kOne);
  std::atomic<int> right{0}, most{0};
  std::barrier read(kReaders);
  onEach([&](Reader& reader) {
    right += reader.text(kName) == "One" ? 1 : 0;
    read.arrive_and_wait();
    most = static_cast<int>(copies());
  });
  EXPECT_EQ(right, kReaders);
  EXPECT_EQ(most, 1);
  EXPECT_EQ(shared->copies.timesMade(), 1u);
  EXPECT_EQ(shared->helpers.timesMade(), 1u);
  EXPECT_EQ(copies(), 0);  // with its last user
}

TEST_F(SharedDatabasesTest, readersOfAMigratedLibraryMakeItsTablesOnce) {
  make(makelibrary::LibraryKind::Photos5);
  change(kPhotos5, "UPDATE ZGENERICASSET SET ZFAVORITE = 1 WHERE Z_PK = 1");
  std::atomic<int> right{0};
  onEach([&](Reader& reader) { right += std::stoi(reader.text(kWithEvents)) > 0 ? 1 : 0; });
  EXPECT_EQ(right, kReaders);
  EXPECT_EQ(shared->helpers.timesMade(), 1u);
}

TEST_F(SharedDatabasesTest, readersOfAlbumDataFillOneDatabase) {
  make(makelibrary::LibraryKind::AlbumDataOnly);
  std::atomic<int> right{0};
  onEach([&](Reader& reader) { right += std::stoi(reader.text(kAllPhotos)) > 0 ? 1 : 0; });
  EXPECT_EQ(right, kReaders);
  EXPECT_EQ(shared->filled.timesMade(), 1u);
}

TEST_F(SharedDatabasesTest, aCopyIsOneFileWithoutJournals) {
  make(makelibrary::LibraryKind::Photos4);
  change(kPhotos4, kOne);
  Reader reader(library.string(), seams());
  EXPECT_EQ(reader.text(kName), "One");
  const fs::path copy = fs::directory_iterator(temporary.path())->path();
  EXPECT_EQ(std::distance(fs::directory_iterator(copy), fs::directory_iterator()), 1);
}

TEST_F(SharedDatabasesTest, readersOfAnOlderStateKeepTheirs) {
  make(makelibrary::LibraryKind::Photos4);
  change(kPhotos4, kOne);
  Reader first(library.string(), seams()), second(library.string(), seams());
  EXPECT_EQ(first.text(kName), "One");
  second.databases.beginCommand();
  Query held = second.databases.run(DatabaseFile::Library, kName, {});
  change(kPhotos4, kTwo);
  now = 1h + 2min;
  EXPECT_EQ(first.text(kName), "Two");
  EXPECT_EQ(copies(), 2);
  ASSERT_TRUE(held.step());
  EXPECT_EQ(held.stringColumn(0), Value("One"));
  held = {};
  second.databases.releaseLocks();
  EXPECT_EQ(second.text(kName), "Two");
  EXPECT_EQ(copies(), 1);
  EXPECT_EQ(shared->copies.timesMade(), 2u);
  EXPECT_EQ(shared->helpers.timesMade(), 2u);
}

// A disk need not have room for both.
TEST_F(SharedDatabasesTest, anOutdatedCopyIsRemovedWhileTheNextIsMade) {
  make(makelibrary::LibraryKind::Photos4);
  change(kPhotos4, kOne);
  auto old = std::make_unique<Reader>(library.string(), seams());
  EXPECT_EQ(old->text(kName), "One");
  change(kPhotos4, kTwo);
  now = 1h + 2min;
  LibrarySeams watched = seams();
  std::ptrdiff_t meanwhile = 0;
  watched.freeBytesIn = [&](const std::string& path) {
    old.reset();  // the last one that reads it
    meanwhile = copies();
    return freeBytesIn(path);
  };
  Reader reader(library.string(), watched);
  EXPECT_EQ(reader.text(kName), "Two");
  EXPECT_EQ(meanwhile, 1);
}

TEST_F(SharedDatabasesTest, aNewReaderTakesACopyThatIsRecent) {
  make(makelibrary::LibraryKind::Photos4);
  change(kPhotos4, kOne);
  Reader first(library.string(), seams());
  EXPECT_EQ(first.text(kName), "One");
  change(kPhotos4, kTwo);
  now = 1h + 59s;
  Reader second(library.string(), seams());
  EXPECT_EQ(second.text(kName), "One");
  EXPECT_EQ(shared->copies.timesMade(), 1u);
  EXPECT_TRUE(second.databases.takeOutdated() == false);
  now = 1h + 60s;
  EXPECT_TRUE(second.databases.takeOutdated());
  EXPECT_EQ(second.text(kName), "Two");
}

TEST_F(SharedDatabasesTest, aChangedAlbumDataIsReadAgainOnce) {
  make(makelibrary::LibraryKind::AlbumDataOnly);
  Reader first(library.string(), seams()), second(library.string(), seams());
  EXPECT_EQ(first.text(kAllPhotos), second.text(kAllPhotos));
  const fs::path file = library / "AlbumData.xml";
  fs::last_write_time(file, fs::last_write_time(file) + 1s);
  EXPECT_EQ(first.text(kAllPhotos), second.text(kAllPhotos));
  EXPECT_EQ(shared->filled.timesMade(), 2u);
}

TEST_F(SharedDatabasesTest, withoutALogTheTablesAreMadeOncePerState) {
  make(makelibrary::LibraryKind::Photos4);
  Reader first(library.string(), seams()), second(library.string(), seams());
  EXPECT_EQ(first.text(kMembers), second.text(kMembers));
  EXPECT_EQ(shared->helpers.timesMade(), 1u);
  const fs::path file = library / kPhotos4;
  fs::last_write_time(file, fs::last_write_time(file) + 1s);
  EXPECT_EQ(first.text(kMembers), second.text(kMembers));
  EXPECT_EQ(shared->helpers.timesMade(), 2u);
}

// One reader at a time makes something; another one waits for it.
TEST(SharedByReaders, makesOneThingForThreadsThatAskAtTheSameTime) {
  SharedByReaders<int> shared;
  std::barrier start(kReaders), done(kReaders);
  std::atomic<int> made{0}, equal{0};
  std::vector<std::thread> threads;
  for (std::ptrdiff_t i = 0; i < kReaders; ++i)
    threads.emplace_back([&] {
      start.arrive_and_wait();
      const auto one = shared.take(
          "a", [](const int&) { return true; },
          [&] {
            ++made;
            return std::make_shared<const int>(7);
          },
          [] { return false; });
      equal += *one == 7 ? 1 : 0;
      done.arrive_and_wait();
    });
  for (std::thread& each : threads) each.join();
  EXPECT_EQ(made, 1);
  EXPECT_EQ(equal, kReaders);
}

TEST(SharedByReaders, givesOthersTheirTurnAfterAFailure) {
  SharedByReaders<int> shared;
  const auto fits = [](const int&) { return true; };
  const auto never = [] { return false; };
  EXPECT_THROW(
      shared.take(
          "a", fits, []() -> std::shared_ptr<const int> { throw std::runtime_error("full"); }, never),
      std::runtime_error);
  EXPECT_EQ(*shared.take(
                "a", fits, [] { return std::make_shared<const int>(2); }, never),
            2);
}

TEST(SharedByReaders, doesNotWaitWhileTheProgramEnds) {
  SharedByReaders<int> shared;
  const auto fits = [](const int&) { return true; };
  const auto make = [] { return std::make_shared<const int>(1); };
  std::shared_ptr<const int> second = std::make_shared<const int>(0);
  shared.take(
      "a", fits,
      [&] {
        std::thread([&] { second = shared.take("a", fits, make, [] { return true; }); }).join();
        return make();
      },
      [] { return false; });
  EXPECT_EQ(second, nullptr);
}

TEST(SharedByReaders, makesADifferentThingForAnotherKeyMeanwhile) {
  SharedByReaders<int> shared;
  const auto fits = [](const int&) { return true; };
  const auto never = [] { return false; };
  std::shared_ptr<const int> other;
  shared.take(
      "a", fits,
      [&] {
        std::thread([&] {
          other = shared.take(
              "b", fits, [] { return std::make_shared<const int>(2); }, never);
        }).join();
        return std::make_shared<const int>(1);
      },
      never);
  ASSERT_NE(other, nullptr);
  EXPECT_EQ(*other, 2);
}

}  // namespace
}  // namespace moxtel::test
