#include "platform/files/FileCache.h"

#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

class FileCacheTest : public testing::Test {
 protected:
  std::string place() const { return folder_.path() / "deep/cache"; }
  static void store(FileCache& cache, const std::string& key, const std::string& text) {
    cache.store(key, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  }
  static std::optional<std::string> read(FileCache& cache, const std::string& key) {
    const FileContents contents = readAll(cache.open(key), 1 << 20);
    if (contents.state != FileState::Open) return std::nullopt;
    return std::string(contents.bytes.begin(), contents.bytes.end());
  }
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(place()))
      if (entry.is_regular_file()) found.push_back(entry.path().filename());
    return found;
  }
  TemporaryFolder folder_;
};

TEST_F(FileCacheTest, keepsFilesAlsoForTheNextRun) {
  {
    FileCache cache(place(), 100);
    EXPECT_TRUE(cache.isUsable());
    store(cache, "a-1", "one");
    EXPECT_EQ(read(cache, "a-1"), "one");
  }
  FileCache cache(place(), 100);
  EXPECT_TRUE(cache.has("a-1"));
  EXPECT_EQ(read(cache, "a-1"), "one");
  EXPECT_EQ(cache.bytes(), 3u);
  EXPECT_EQ(fs::status(place()).permissions(), fs::perms::owner_all);
}

TEST_F(FileCacheTest, replacesAFileOfTheSameKey) {
  FileCache cache(place(), 100);
  store(cache, "a", "first");
  store(cache, "a", "2");
  EXPECT_EQ(read(cache, "a"), "2");
  EXPECT_EQ(cache.bytes(), 1u);
}

TEST_F(FileCacheTest, removesTheLeastRecentlyUsedBeyondItsSize) {
  FileCache cache(place(), 10);
  store(cache, "a", "aaaa");
  store(cache, "b", "bbbb");
  EXPECT_EQ(read(cache, "a"), "aaaa");
  store(cache, "c", "cccc");
  EXPECT_THAT(names(), UnorderedElementsAre("a", "c"));
  EXPECT_EQ(cache.bytes(), 8u);
  store(cache, "d", "more than ten bytes");
  EXPECT_THAT(names(), UnorderedElementsAre("a", "c"));
}

TEST_F(FileCacheTest, shrinksAtItsStart) {
  {
    FileCache cache(place(), 100);
    store(cache, "old", "12345678");
    store(cache, "new", "12345678");
  }
  fs::last_write_time(place() + "/old", fs::file_time_type::clock::now() - std::chrono::hours(1));
  FileCache cache(place(), 10);
  EXPECT_THAT(names(), ElementsAre("new"));
}

TEST_F(FileCacheTest, deletesWhatAnEarlierRunDidNotComplete) {
  fs::create_directories(place() + "/making-abcdef");
  fs::permissions(place() + "/making-abcdef", fs::perms::owner_all);
  std::ofstream(place() + "/making-abcdef/file.part") << "part";
  FileCache cache(place(), 100);
  EXPECT_FALSE(fs::exists(place() + "/making-abcdef"));
}

TEST_F(FileCacheTest, takesAFileThatWasMadeInItsFolder) {
  FileCache cache(place(), 100);
  {
    const auto folder = cache.folderForMaking();
    ASSERT_TRUE(folder);
    std::ofstream(folder->path() + "/movie") << "movie";
    EXPECT_FALSE(cache.adopt("../m", folder->path() + "/movie"));
    EXPECT_TRUE(cache.adopt("m.mp4", folder->path() + "/movie"));
    std::ofstream(folder->path() + "/large") << std::string(101, 'x');
    EXPECT_FALSE(cache.adopt("l", folder->path() + "/large"));
  }
  EXPECT_EQ(read(cache, "m.mp4"), "movie");
  EXPECT_THAT(names(), ElementsAre("m.mp4"));
}

TEST_F(FileCacheTest, neverLeavesItsFolder) {
  std::ofstream(folder_.path() / "outside") << "secret";
  FileCache cache(place(), 100);
  for (const std::string key : {"../outside", "..", ".", "", "/etc/passwd", "A", "a/b", "making-x", "-a"}) {
    store(cache, key, "x");
    EXPECT_FALSE(read(cache, key)) << key;
  }
  fs::create_symlink(folder_.path() / "outside", place() + "/link");
  EXPECT_FALSE(read(cache, "link"));
  store(cache, "link", "own");
  EXPECT_EQ(read(cache, "link"), "own");
  EXPECT_EQ(fs::file_size(folder_.path() / "outside"), 6u);
}

TEST_F(FileCacheTest, doesNotFollowALinkInPlaceOfTheFolder) {
  fs::create_directories(folder_.path() / "deep");
  fs::create_directories(folder_.path() / "elsewhere");
  fs::create_directory_symlink(folder_.path() / "elsewhere", place());
  FileCache cache(place(), 100);
  EXPECT_FALSE(cache.isUsable());
  store(cache, "a", "x");
  EXPECT_TRUE(fs::is_empty(folder_.path() / "elsewhere"));
}

TEST_F(FileCacheTest, ofNoBytesKeepsNothing) {
  FileCache cache(place(), 0);
  store(cache, "a", "");
  EXPECT_FALSE(cache.isUsable());
  EXPECT_FALSE(cache.folderForMaking());
  EXPECT_FALSE(fs::exists(place()));
}

TEST_F(FileCacheTest, survivesAFolderThatIsDeleted) {
  FileCache cache(place(), 100);
  store(cache, "a", "x");
  fs::remove_all(place());
  EXPECT_FALSE(read(cache, "a"));
  EXPECT_EQ(cache.bytes(), 0u);
  store(cache, "b", "x");
  EXPECT_FALSE(read(cache, "b"));
}

TEST_F(FileCacheTest, isUsedBySeveralThreads) {
  FileCache cache(place(), 200);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&cache, t] {
      for (int i = 0; i < 100; ++i) {
        const std::string key = std::to_string((i + t) % 30);
        EXPECT_EQ(read(cache, key).value_or("0123456789" + key), "0123456789" + key);
        store(cache, key, "0123456789" + key);
      }
    });
  for (auto& thread : threads) thread.join();
  EXPECT_LE(cache.bytes(), 200u);
}

}  // namespace
}  // namespace moxtel
