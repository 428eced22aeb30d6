#include "scripting/ApplicationMonitor.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "library/albumdata/AlbumData.h"
#include "platform/files/Files.h"
#include "tests/fakes/FakeClock.h"
#include "tests/fakes/FakeRunningApplications.h"
#include "tests/library/ServedLibrary.h"

namespace moxtel::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

constexpr const char* kEmptyAlbumData =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict/></plist>\n";

class ApplicationMonitorTest : public testing::Test {
 protected:
  TestLibrary files;
  ServedLibrary served{files.path()};
  FakeClock clock;
  AlbumData albumData{served.location, served.files, served.messages, clock};
  FakeRunningApplications applications;
  ApplicationMonitor monitor{served.loop, applications,    served.library,
                             albumData,   served.messages, served.flags};
  std::string database = files.pathOf(DatabaseFile::Library);
  std::string albumFile = files.path() + "/AlbumData.xml";

  void SetUp() override { served.messages.lines.clear(); }

  // Loading the library is recognized by the lines that only it logs.
  static constexpr const char* kLoaded = "\n\n--------------------------------- RELOAD DATABASE";
  int loads(const SystemLogCapture& log, std::string_view beginning = kLoaded) const {
    const auto all = log.lines();
    return static_cast<int>(
        std::count_if(all.begin(), all.end(), [&](const auto& line) { return line.starts_with(beginning); }));
  }
  // Seconds since 2001.
  static void setDate(const std::string& path, double seconds) {
    const auto whole = static_cast<time_t>(seconds) + 978307200;
    const timespec times[2] = {{whole, 0}, {whole, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  }
  void grow(const std::string& path, int bytes = 1) {
    std::ofstream(path, std::ios::app) << std::string(bytes, 'x');
  }
  void loadAlbums() {
    std::ofstream(albumFile) << kEmptyAlbumData;
    setDate(albumFile, 1000);
    clock.set(Date{5000});
    albumData.loadAlbumData();
  }
};

TEST_F(ApplicationMonitorTest, seesIPhotoStartWithoutReloading) {
  const SystemLogCapture log;
  monitor.startAppChecks();
  served.loop.advance(5s);
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_EQ(applications.asked(), 5);
  applications.set({"bash", "iPhoto"});
  served.loop.advance(999ms);
  EXPECT_FALSE(served.flags.connectedWithIPhoto);
  served.loop.advance(1ms);
  EXPECT_TRUE(served.flags.connectedWithIPhoto);
  EXPECT_FALSE(served.flags.connectedWithAperture);
  served.loop.advance(5s);
  EXPECT_THAT(log.lines(), ElementsAre("iPhoto was started"));
  EXPECT_THAT(served.messages.lines, ElementsAre(Pair("Info", "iPhoto was started")));
}

TEST_F(ApplicationMonitorTest, reloadsWhenIPhotoQuits) {
  applications.set({"iPhoto"});
  monitor.checkForApplicationStatus();
  served.messages.lines.clear();
  const SystemLogCapture log;
  applications.set({});
  monitor.checkForApplicationStatus();
  EXPECT_FALSE(served.flags.connectedWithIPhoto);
  ASSERT_FALSE(log.lines().empty());
  EXPECT_EQ(log.lines()[0], "iPhoto not running");
  EXPECT_EQ(served.messages.count("Info", "not running"), 0) << "only the start is for the user";
  EXPECT_GT(log.lines().size(), 1u) << "the library was loaded at once";
  const auto before = log.lines().size();
  monitor.checkForApplicationStatus();
  EXPECT_EQ(log.lines().size(), before);
}

TEST_F(ApplicationMonitorTest, logsTheLargestNumberWhenApertureStarts) {
  const SystemLogCapture log;
  applications.set({"Aperture"});
  monitor.checkForApplicationStatus();
  EXPECT_THAT(log.lines(), ElementsAre("Aperture was started",
                                       "maxfloat: 340282346638528859811704183484516925440.000000"));
  EXPECT_THAT(served.messages.lines, ElementsAre(Pair("Info", "Aperture was started")));
  EXPECT_TRUE(served.flags.connectedWithAperture);
  EXPECT_FALSE(served.flags.connectedWithIPhoto);
}

TEST_F(ApplicationMonitorTest, reloadsWhenApertureQuits) {
  applications.set({"Aperture"});
  monitor.checkForApplicationStatus();
  const SystemLogCapture log;
  applications.set({});
  monitor.checkForApplicationStatus();
  EXPECT_FALSE(served.flags.connectedWithAperture);
  ASSERT_GT(log.lines().size(), 1u);
  EXPECT_EQ(log.lines()[0], "Aperture not running");
}

TEST_F(ApplicationMonitorTest, followsBothApplications) {
  const SystemLogCapture log;
  applications.set({"Aperture", "iPhoto"});
  monitor.checkForApplicationStatus();
  EXPECT_TRUE(served.flags.connectedWithIPhoto);
  EXPECT_TRUE(served.flags.connectedWithAperture);
  EXPECT_THAT(log.lines(),
              ElementsAre("iPhoto was started", "Aperture was started", HasSubstr("maxfloat: ")));
  applications.set({"Aperture"});
  monitor.checkForApplicationStatus();
  EXPECT_FALSE(served.flags.connectedWithIPhoto);
  EXPECT_TRUE(served.flags.connectedWithAperture);
}

TEST_F(ApplicationMonitorTest, comparesNamesExactly) {
  applications.set({"iphoto", "IPHOTO", "iPhoto ", " iPhoto", "iPhoto11", "aperture", "Aperture.app", ""});
  monitor.checkForApplicationStatus();
  EXPECT_FALSE(served.flags.connectedWithIPhoto);
  EXPECT_FALSE(served.flags.connectedWithAperture);
}

TEST_F(ApplicationMonitorTest, startsOneWatchOnlyAndAnotherAfterItsEnd) {
  monitor.startAppChecks();
  monitor.startAppChecks();
  served.loop.advance(3s);
  EXPECT_EQ(applications.asked(), 3);
  monitor.stopAppChecks();
  served.loop.advance(3s);
  EXPECT_EQ(applications.asked(), 3);
  monitor.startAppChecks();
  served.loop.advance(2s);
  EXPECT_EQ(applications.asked(), 5);
}

TEST_F(ApplicationMonitorTest, reloadsAChangedDatabaseThreeSecondsLater) {
  const double date = served.library.databaseReadDate()->seconds;
  const std::uint64_t size = served.library.databaseReadSize();
  monitor.startDatabaseCheck();
  served.loop.advance(2s);
  grow(database);
  setDate(database, date + 10);
  const SystemLogCapture log;
  served.loop.advance(1s);
  EXPECT_THAT(log.lines(), ElementsAre("Database was modified! Be careful ..... (filesize " +
                                       std::to_string(size + 1) + ")"));
  EXPECT_EQ(served.library.databaseReadSize(), size + 1);
  served.loop.advance(2999ms);
  EXPECT_EQ(log.lines().size(), 1u);
  served.loop.advance(1ms);
  EXPECT_GT(log.lines().size(), 1u) << "reloaded";
}

TEST_F(ApplicationMonitorTest, aBurstOfDatabaseChangesLeadsToOneReload) {
  const double date = served.library.databaseReadDate()->seconds;
  monitor.startDatabaseCheck();
  const SystemLogCapture log;
  for (int i = 1; i <= 3; ++i) {
    grow(database);
    setDate(database, date + 10.0 * i);
    served.loop.advance(1s);
  }
  served.loop.advance(2999ms);
  EXPECT_EQ(log.lines().size(), 3u) << "three times modified, not yet loaded";
  served.loop.advance(1ms);
  const std::size_t once = log.lines().size();
  EXPECT_GT(once, 3u);
  served.loop.advance(10s);
  EXPECT_EQ(log.lines().size(), once);
}

TEST_F(ApplicationMonitorTest, aNewerDateWithTheSameSizeIsNeitherActedOnNorRemembered) {
  const double date = served.library.databaseReadDate()->seconds;
  const SystemLogCapture log;
  setDate(database, date + 10);
  monitor.checkForDatabaseChange();
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_EQ(served.library.databaseReadDate()->seconds, date);
}

TEST_F(ApplicationMonitorTest, anotherSizeWithTheSameOrAnOlderDateIsIgnored) {
  setDate(database, 1000);
  served.library.rememberRead(Date{1000}, served.library.databaseReadSize());
  const std::uint64_t size = served.library.databaseReadSize();
  const SystemLogCapture log;
  grow(database);
  setDate(database, 1000);
  monitor.checkForDatabaseChange();
  setDate(database, 900);
  monitor.checkForDatabaseChange();
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_EQ(served.library.databaseReadSize(), size);
}

TEST_F(ApplicationMonitorTest, showsAMissingDatabaseAtEveryTick) {
  monitor.startDatabaseCheck();
  files.remove(DatabaseFile::Library);
  served.loop.advance(3s);
  ASSERT_EQ(served.messages.lines.size(), 3u);
  EXPECT_EQ(served.messages.lines[0].first, "Error");
  EXPECT_EQ(served.messages.lines[0].second,
            "Problem with reading iPhoto data: '" + database +
                ": No such file or directory'\nPlease quit MoxtelServer, start and quit iPhoto, then start "
                "MoxtelServer again.");
}

TEST_F(ApplicationMonitorTest, aWatcherStartedTwiceRunsTwice) {
  monitor.startDatabaseCheck();
  monitor.startDatabaseCheck();
  files.remove(DatabaseFile::Library);
  served.loop.advance(1s);
  EXPECT_EQ(served.messages.lines.size(), 2u);
}

TEST_F(ApplicationMonitorTest, reloadsAlbumDataOnceThreeSecondsAfterTheLastChange) {
  loadAlbums();
  monitor.startAlbumDataCheck();
  served.loop.advance(2s);
  EXPECT_THAT(served.messages.lines, IsEmpty());
  const SystemLogCapture log;
  const std::string line = "AlbumData.xml was modified! Be careful .....";
  setDate(albumFile, 6000);
  served.loop.advance(1s);
  EXPECT_EQ(albumData.albumDataReadDate()->seconds, 6000);
  setDate(albumFile, 6001);
  clock.set(Date{7000});
  served.loop.advance(1s);
  EXPECT_THAT(log.lines(), ElementsAre(line, line));
  EXPECT_THAT(served.messages.lines, ElementsAre(Pair("Error", line), Pair("Error", line)));
  served.loop.advance(2999ms);
  EXPECT_EQ(log.lines().size(), 2u);
  served.loop.advance(1ms);
  EXPECT_EQ(loads(log, "use album data path"), 1);
  EXPECT_EQ(albumData.albumDataReadDate()->seconds, 7000) << "the clock's time again";
  served.loop.advance(10s);
  EXPECT_EQ(loads(log, "use album data path"), 1);
}

TEST_F(ApplicationMonitorTest, doesNotLookAtTheSizeOfAlbumData) {
  loadAlbums();
  const SystemLogCapture log;
  grow(albumFile, 100);
  setDate(albumFile, 4999);
  monitor.checkForAlbumDataChange();
  setDate(albumFile, 5000);
  monitor.checkForAlbumDataChange();
  EXPECT_THAT(log.lines(), IsEmpty());
  setDate(albumFile, 5001);
  monitor.checkForAlbumDataChange();
  EXPECT_EQ(log.lines().size(), 1u);
}

TEST_F(ApplicationMonitorTest, showsMissingAlbumData) {
  loadAlbums();
  std::filesystem::remove(albumFile);
  monitor.checkForAlbumDataChange();
  ASSERT_EQ(served.messages.lines.size(), 1u);
  EXPECT_EQ(served.messages.lines[0].first, "Error");
  EXPECT_THAT(served.messages.lines[0].second, HasSubstr("Problem with reading iPhoto data: '" + albumFile +
                                                         ": No such file or directory'\n"));
}

TEST_F(ApplicationMonitorTest, anAlbumFileThatWasNeverReadIsNotWatched) {
  monitor.checkForAlbumDataChange();
  EXPECT_THAT(served.messages.lines, IsEmpty()) << "no file name yet";
  albumData.loadAlbumData();
  std::ofstream(albumFile) << kEmptyAlbumData;
  const SystemLogCapture log;
  monitor.checkForAlbumDataChange();
  EXPECT_THAT(log.lines(), IsEmpty()) << "no date yet";
}

TEST(ApplicationMonitorStandalone, leavesTheFilesAlone) {
  TemporaryFolder folder;
  // No library there: the databases run standalone.
  ServedLibrary served{folder.path().string()};
  ASSERT_TRUE(served.library.runStandalone());
  AlbumData albumData{served.location, served.files, served.messages};
  FakeRunningApplications applications;
  ApplicationMonitor monitor{served.loop, applications,    served.library,
                             albumData,   served.messages, served.flags};
  albumData.loadAlbumData();
  served.messages.lines.clear();
  monitor.checkForDatabaseChange();
  monitor.checkForAlbumDataChange();
  EXPECT_THAT(served.messages.lines, IsEmpty());
}

}  // namespace
}  // namespace moxtel::test
