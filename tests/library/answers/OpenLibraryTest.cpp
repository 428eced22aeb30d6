// A library that is opened on a thread of its own.
#include "library/answers/OpenLibrary.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "library/answers/AlbumMembership.h"
#include "library/answers/LibraryLists.h"
#include "library/answers/SmartAlbums.h"
#include "library/facts/PhotoFactsReader.h"
#include "platform/loop/CoreLoop.h"
#include "tests/fakes/FakeEventLoop.h"
#include "tests/fakes/RecordingMessages.h"
#include "tests/library/LocalTimeZone.h"
#include "tests/library/TestLibrary.h"
#include "tests/library/answers/AnswersFixture.h"
#include "tests/library/answers/MadeRule.h"

namespace moxtel {
namespace {

using test::RecordingMessages;

using test::TestLibrary;

std::int64_t addPhoto(TestLibrary& files, const char* uuid, double date) {
  return files.insert(
      "RKVersion",
      Dictionary{
          {"uuid", uuid}, {"versionNumber", 1}, {"showInLibrary", 1}, {"isInTrash", 0}, {"imageDate", date}});
}

TEST(OpenLibraryTest, readsOnAPlainThread) {
  TestLibrary files;
  const std::int64_t photo = addPhoto(files, "one", 0);
  std::vector<std::int64_t> found;
  std::thread thread([&] {
    CoreLoop loop;
    RecordingMessages messages;
    loop.post([&] {
      OpenLibrary library(loop, messages, files.path());
      library.beginTask();
      found = library.columns()->modelId;
      loop.quit();
    });
    loop.run();
  });
  thread.join();
  EXPECT_EQ(found, std::vector<std::int64_t>{photo});
}

TEST(OpenLibraryTest, noticesAChangedLibrary) {
  TestLibrary files;
  addPhoto(files, "one", 0);
  FakeEventLoop loop;
  RecordingMessages messages;
  OpenLibrary library(loop, messages, files.path());
  EXPECT_EQ(library.columns()->size(), 1U);
  const std::uint64_t version = library.version();
  EXPECT_FALSE(library.refresh());
  library.releaseLocks();
  const std::int64_t second = addPhoto(files, "two", 1);
  EXPECT_TRUE(library.refresh());
  EXPECT_NE(library.version(), version);
  EXPECT_EQ(library.columns()->size(), 2U);
  EXPECT_EQ(library.facts().photo(second)->uuid, "two");
  EXPECT_FALSE(library.refresh());
}

TEST(OpenLibraryTest, isAwayAndComesBack) {
  TestLibrary files;
  addPhoto(files, "one", 0);
  FakeEventLoop loop;
  RecordingMessages messages;
  OpenLibrary library(loop, messages, files.path());
  EXPECT_EQ(library.state(), OpenLibrary::State::Ready);
  const std::uint64_t version = library.version();
  const std::string elsewhere = files.path() + " away";
  library.releaseLocks();
  std::filesystem::rename(files.path(), elsewhere);
  EXPECT_TRUE(library.refresh());
  EXPECT_EQ(library.state(), OpenLibrary::State::Away);
  EXPECT_FALSE(library.refresh());
  std::filesystem::rename(elsewhere, files.path());
  EXPECT_TRUE(library.refresh());
  EXPECT_EQ(library.state(), OpenLibrary::State::Ready);
  EXPECT_EQ(library.version(), version);
  EXPECT_EQ(library.columns()->size(), 1U);
}

class DatedLibrary : public test::AnswersTest {};

TEST_F(DatedLibrary, listsSmartAlbumsOfTheDayThatBegins) {
  const test::LocalTimeZone utc("UTC");
  constexpr double kDay = 86'400;
  clock.set({5'000 * kDay + kDay / 2});
  photo("yesterday", Dictionary{{"imageDate", 5'000 * kDay - 1}});
  smartAlbum("s", test::all({test::inTheLast(1, "days")}));
  OpenLibraryOptions options;
  options.clock = &clock;
  FakeEventLoop loop;
  RecordingMessages messages;
  OpenLibrary library(loop, messages, files.path(), options);
  const auto count = [&] { return library.lists().containers().at(0).count; };
  EXPECT_EQ(count(), 1U);
  const std::int64_t day = library.day();
  clock.advance(kDay / 4);
  EXPECT_FALSE(library.refresh());
  EXPECT_EQ(library.day(), day);
  clock.advance(kDay / 2);
  const std::uint64_t version = library.version();
  EXPECT_FALSE(library.refresh());
  EXPECT_NE(library.day(), day);
  EXPECT_EQ(library.version(), version);
  EXPECT_EQ(count(), 0U);
}

TEST(OpenLibraryTest, comesLate) {
  TestLibrary files;
  addPhoto(files, "one", 0);
  const std::string elsewhere = files.path() + " away";
  std::filesystem::rename(files.path(), elsewhere);
  FakeEventLoop loop;
  RecordingMessages messages;
  OpenLibrary library(loop, messages, files.path());
  EXPECT_EQ(library.state(), OpenLibrary::State::Away);
  EXPECT_EQ(library.columns()->size(), 0U);
  std::filesystem::rename(elsewhere, files.path());
  EXPECT_TRUE(library.refresh());
  EXPECT_EQ(library.state(), OpenLibrary::State::Ready);
  EXPECT_EQ(library.columns()->size(), 1U);
}

TEST(OpenLibraryTest, saysThatADamagedLibraryIsUnreadable) {
  TestLibrary files;
  files.overwrite(DatabaseFile::Library, std::string(100'000, 'x'));
  FakeEventLoop loop;
  RecordingMessages messages;
  OpenLibrary library(loop, messages, files.path());
  EXPECT_EQ(library.state(), OpenLibrary::State::Unreadable);
  EXPECT_EQ(library.columns()->size(), 0U);
}

}  // namespace
}  // namespace moxtel
