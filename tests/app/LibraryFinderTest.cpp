#include "app/LibraryFinder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <condition_variable>
#include <filesystem>
#include <mutex>

#include "library/LibrarySummary.h"
#include "makelibrary/MakeLibrary.h"
#include "makelibrary/MakeLibraryOptions.h"
#include "tests/OrdinaryUser.h"
#include "tests/TemporaryFolder.h"
#include "tests/library/ServedLibrary.h"

namespace moxtel {
namespace {

namespace fs = std::filesystem;

void makeSample(const fs::path& folder) {
  makelibrary::MakeLibraryOptions options;
  options.photos = 12;
  options.images = makelibrary::Images::Small;
  options.folder = folder;
  makelibrary::makeLibrary(options);
}

// What the finder said last.
class Found final {
 public:
  LibraryFinder::Take taker() {
    return [this](const std::vector<OfferedLibrary>& libraries, bool isSearching) {
      const std::lock_guard lock(mutex_);
      libraries_ = libraries;
      isDone_ = !isSearching;
      changed_.notify_all();
    };
  }
  std::vector<OfferedLibrary> awaited() {
    std::unique_lock lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, std::chrono::seconds(60), [this] { return isDone_; }));
    isDone_ = false;
    return libraries_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<OfferedLibrary> libraries_;
  bool isDone_ = false;
};

std::vector<std::string> openFilesBelow(const fs::path& folder) {
  std::vector<std::string> files;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    const std::string file = fs::read_symlink(entry.path(), error).string();
    if (file.starts_with(folder.string())) files.push_back(file);
  }
  return files;
}

TEST(LibraryFinder, findsALibraryWithWhatHelpsToRecognizeIt) {
  const TemporaryFolder disk;
  const fs::path library = disk.path() / "Pictures" / "Family";
  makeSample(library);
  Found found;
  LibraryFinder finder(found.taker());
  finder.search({disk.path().string(), "/no/such/disk", library.string()});
  const auto libraries = found.awaited();
  ASSERT_EQ(libraries.size(), 1u);
  EXPECT_EQ(libraries[0].path, library.string());
  EXPECT_EQ(libraries[0].name, "Family");
  EXPECT_GE(libraries[0].photos, 12);  // as the page counts: some have several versions
  EXPECT_TRUE(libraries[0].first && libraries[0].last && *libraries[0].first <= *libraries[0].last);
  ASSERT_GT(libraries[0].picture.size(), 100u);
  EXPECT_EQ(libraries[0].picture[0], 0xFF);
  EXPECT_EQ(libraries[0].picture[1], 0xD8);
}

// The window, which counts by itself, shows the number that was offered.
TEST(LibraryFinder, countsThePhotosAsTheWindowDoes) {
  for (const auto kind : {makelibrary::LibraryKind::IPhoto, makelibrary::LibraryKind::Photos4,
                          makelibrary::LibraryKind::Photos5}) {
    const TemporaryFolder disk;
    makelibrary::MakeLibraryOptions options;
    options.kind = kind;
    options.photos = 60;
    options.images = makelibrary::Images::Small;
    options.folder = disk.path() / "Family";
    makelibrary::makeLibrary(options);
    Found found;
    LibraryFinder finder(found.taker());
    finder.search({disk.path().string()});
    const auto libraries = found.awaited();
    ASSERT_EQ(libraries.size(), 1u);
    test::ServedLibrary served(options.folder.string());
    EXPECT_EQ(countLibrary(served.databases).photos, libraries[0].photos);
  }
}

// Nothing would be shown of a Mac's disk whose owner has another number here.
TEST(LibraryFinder, showsAClosedFolderThatMayHaveTheLibrary) {
  const TemporaryFolder disk;
  const fs::path pictures = disk.path() / "Users/anna/Pictures";
  fs::create_directories(pictures);
  fs::permissions(disk.path(), fs::perms::all);
  if (::geteuid() != 0 || ::chown(pictures.c_str(), 501, 20) != 0) GTEST_SKIP() << "needs root";
  fs::permissions(pictures, fs::perms::owner_all);
  Found found;
  const OrdinaryUser user;
  LibraryFinder finder(found.taker());
  finder.search({disk.path().string()});
  const auto libraries = found.awaited();
  ASSERT_EQ(libraries.size(), 1u);
  EXPECT_EQ(libraries[0], (OfferedLibrary{pictures.string(), "Pictures", {}, {}, {}, {}}));
}

// So that the disk can be ejected.
TEST(LibraryFinder, leavesNoFileOpen) {
  const TemporaryFolder disk;
  makeSample(disk.path() / "Family");
  Found found;
  LibraryFinder finder(found.taker());
  finder.search({disk.path().string()});
  EXPECT_EQ(found.awaited().size(), 1u);
  EXPECT_THAT(openFilesBelow(disk.path()), testing::IsEmpty());
}

TEST(LibraryFinder, searchesAgain) {
  const TemporaryFolder disk;
  Found found;
  LibraryFinder finder(found.taker());
  finder.search({disk.path().string()});
  EXPECT_TRUE(found.awaited().empty());
  makeSample(disk.path() / "Family");
  finder.search({disk.path().string()});
  EXPECT_EQ(found.awaited().size(), 1u);
}

TEST(LibraryFinder, searchesThePictureFolderAndTheDisks) {
  const auto folders = LibraryFinder::usualFolders("90 30 8:17 / /media/anna/USB rw - vfat /dev/sdb1 rw\n");
  ASSERT_EQ(folders.size(), 2u);
  EXPECT_TRUE(folders[0].starts_with('/'));
  EXPECT_EQ(folders[1], "/media/anna/USB");
}

}  // namespace
}  // namespace moxtel
