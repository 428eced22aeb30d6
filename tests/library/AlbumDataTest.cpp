#include "library/albumdata/AlbumData.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "tests/fakes/FakeClock.h"
#include "tests/library/ServedLibrary.h"

namespace moxtel::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
namespace fs = std::filesystem;

std::string plist(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple Computer//DTD PLIST "
         "1.0//EN\" "
         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">\n" +
         body + "\n</plist>\n";
}

class LegacyAlbums : public testing::Test {
 protected:
  void write(const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }
  // The lines of one loading, without the first, which names the path.
  std::vector<std::string> load() {
    const SystemLogCapture log;
    albums.loadAlbumData();
    auto lines = log.lines();
    EXPECT_FALSE(lines.empty());
    EXPECT_EQ(lines.front(), "use album data path '" + folder.path().string() + "'");
    lines.erase(lines.begin());
    return lines;
  }
  void expectUnreadable(const std::string& why) {
    served.messages.lines.clear();
    EXPECT_THAT(load(), ElementsAre("Found 0 albums", "Found 0 rolls", "Found 0 faces"));
    ASSERT_EQ(served.messages.lines.size(), 1u);
    EXPECT_EQ(served.messages.lines[0].first, "Error");
    EXPECT_THAT(served.messages.lines[0].second,
                AllOf(testing::StartsWith("Problem with reading iPhoto data: '"), HasSubstr(why),
                      testing::EndsWith("'\nPlease quit MoxtelServer, start and quit iPhoto, then start "
                                        "MoxtelServer again.")));
    EXPECT_TRUE(albums.containerDicts().empty());
    EXPECT_EQ(albums.faceDicts(), Value(Array()));
    EXPECT_TRUE(albums.couldNotBeRead());
  }

  TemporaryFolder folder;
  std::string path = (folder.path() / "AlbumData.xml").string();
  ServedLibrary served{folder.path().string()};
  FakeClock clock;
  AlbumData albums{served.location, served.files, served.messages, clock};
};

constexpr const char* kTwoAlbumsAndARoll = R"(<dict>
  <key>Application Version</key><string>9.6.1</string>
  <key>List of Albums</key><array>
    <dict><key>AlbumId</key><integer>7</integer><key>AlbumName</key><string>Sommer &amp; S&#xE9;e</string>
      <key>GUID</key><string>Tn%h%CuhQruD8VQ5zVgy8g</string><key>KeyList</key><array><string>1</string></array>
      <key>Album Type</key><string>Regular</string><key>ShuffleSlides</key><true/></dict>
    <dict><key>GUID</key><string>b</string><key>TransitionSpeed</key><real>1.5</real></dict>
  </array>
  <key>Master Image List</key><dict><key>1</key><dict><key>Caption</key><string>x</string></dict></dict>
  <key>List of Rolls</key><array>
    <dict><key>ProjectUuid</key><string>r</string><key>RollID</key><integer>9</integer>
      <key>KeyList</key><array/></dict>
  </array>
  <key>List of Faces</key><dict><key>1</key><dict><key>name</key><string>Eva</string>
      <key>KeyList</key><string>kept</string></dict></dict>
</dict>)";

TEST_F(LegacyAlbums, areReadByTheirKeysWithoutTheirKeyLists) {
  write(plist(kTwoAlbumsAndARoll));
  clock.set(Date{5e8});
  EXPECT_THAT(load(), ElementsAre("Found 2 albums", "Found 1 rolls", "Found 1 faces"));
  EXPECT_EQ(albums.containerDict("Tn%h%CuhQruD8VQ5zVgy8g"),
            Value(Dictionary({{"AlbumId", 7},
                              {"AlbumName",
                               "Sommer & S\xC3\xA9"
                               "e"},
                              {"GUID", "Tn%h%CuhQruD8VQ5zVgy8g"},
                              {"Album Type", "Regular"},
                              {"ShuffleSlides", true}})));
  EXPECT_EQ(albums.containerDict("b")["TransitionSpeed"], Value(1.5));
  EXPECT_EQ(albums.containerDict("r"), Value(Dictionary({{"ProjectUuid", "r"}, {"RollID", 9}})));
  EXPECT_EQ(albums.containerDict("other"), Value());
  EXPECT_EQ(albums.albumDataReadDate(), std::optional(Date{5e8}));
  EXPECT_EQ(albums.albumDataFilename(), std::optional(path));
  EXPECT_EQ(albums.events(), Value());
  EXPECT_EQ(albums.albums(), Value());
}

TEST_F(LegacyAlbums, areMutableAtEveryLevel) {
  write(plist(kTwoAlbumsAndARoll));
  load();
  EXPECT_TRUE(albums.containerDict("b").dictionary().isMutable());
  EXPECT_TRUE(albums.faceDicts().dictionary().isMutable());
  EXPECT_TRUE(albums.faceDicts()["1"].dictionary().isMutable());
}

TEST_F(LegacyAlbums, facesAreKeptAsTheFileHasThem) {
  write(plist(kTwoAlbumsAndARoll));
  load();
  EXPECT_EQ(albums.faceDicts(),
            Value(Dictionary({{"1", Dictionary({{"name", "Eva"}, {"KeyList", "kept"}})}})));
  write(
      plist("<dict><key>List of Faces</key><array><dict><key>name</key><string>Eva</string></dict><dict/>"
            "</array></dict>"));
  EXPECT_THAT(load(), ElementsAre("Found 0 albums", "Found 0 rolls", "Found 2 faces"));
  EXPECT_EQ(albums.faceDicts(), Value(Array({Dictionary({{"name", "Eva"}}), Dictionary()})));
}

TEST_F(LegacyAlbums, withoutAFileEverythingStaysAsItWas) {
  EXPECT_TRUE(load().empty());
  EXPECT_EQ(albums.faceDicts(), Value());
  write(plist(kTwoAlbumsAndARoll));
  load();
  const auto date = albums.albumDataReadDate();
  fs::remove(path);
  clock.advance(100);
  EXPECT_TRUE(load().empty());
  EXPECT_EQ(albums.containerDicts().size(), 3u);
  EXPECT_EQ(albums.faceDicts().dictionary().size(), 1u);
  EXPECT_EQ(albums.albumDataReadDate(), date);
  EXPECT_TRUE(served.messages.count("Error", "reading iPhoto data") == 0);
}

TEST_F(LegacyAlbums, withoutALibraryNothingIsRead) {
  ServedLibrary none;
  AlbumData nowhere(none.location, none.files, none.messages, clock);
  const SystemLogCapture log;
  nowhere.loadAlbumData();
  EXPECT_TRUE(log.contains("use album data path '(null)'"));
  EXPECT_FALSE(nowhere.albumDataFilename());
}

TEST_F(LegacyAlbums, areReadAgainUnlessTheFileIsOlderThanTheReading) {
  write(plist(kTwoAlbumsAndARoll));
  const auto modified = [&](double secondsAfterReading) {
    const auto moment = std::chrono::sys_time<std::chrono::nanoseconds>(std::chrono::nanoseconds(
        static_cast<std::int64_t>((clock.now().seconds + secondsAfterReading + 978307200.0) * 1e9)));
    fs::last_write_time(path, std::chrono::file_clock::from_sys(moment));
  };
  clock.set(Date{489999904.0});
  EXPECT_EQ(load().size(), 3u);
  modified(-1);
  EXPECT_TRUE(load().empty());
  modified(0);
  EXPECT_EQ(load().size(), 3u);
  modified(1);
  EXPECT_EQ(load().size(), 3u);
  modified(-1);
  albums.clear();
  EXPECT_TRUE(albums.containerDicts().empty());
  EXPECT_EQ(load().size(), 3u);
}

TEST_F(LegacyAlbums, thatAreGoneFromTheFileAreDropped) {
  write(plist(kTwoAlbumsAndARoll));
  load();
  write(plist("<dict/>"));
  EXPECT_THAT(load(), ElementsAre("Found 0 albums", "Found 0 rolls", "Found 0 faces"));
  EXPECT_TRUE(albums.containerDicts().empty());
}

TEST_F(LegacyAlbums, withTheSameKeyTheLaterOneIsKept) {
  write(plist(
      "<dict><key>List of Rolls</key><array><dict><key>ProjectUuid</key><string>b</string></dict></array>"
      "<key>List of Albums</key><array>"
      "<dict><key>GUID</key><string>a</string><key>n</key><integer>1</integer></dict>"
      "<dict><key>GUID</key><string>a</string><key>n</key><integer>2</integer></dict>"
      "<dict><key>GUID</key><string>b</string></dict></array></dict>"));
  EXPECT_THAT(load(), ElementsAre("Found 2 albums", "Found 1 rolls", "Found 0 faces"));
  EXPECT_EQ(albums.containerDict("a")["n"], Value(2));
  EXPECT_EQ(albums.containerDict("b"), Value(Dictionary({{"ProjectUuid", "b"}})))
      << "a roll replaces an album";
}

TEST_F(LegacyAlbums, withoutTheirKeyAreLoggedAndLeftOut) {
  write(
      plist("<dict><key>List of Albums</key><array><dict><key>n</key><integer>1</integer></dict></array>"
            "<key>List of Rolls</key><array><dict><key>GUID</key><string>x</string></dict>"
            "<dict><key>ProjectUuid</key><string>r</string></dict></array></dict>"));
  EXPECT_THAT(load(), ElementsAre("no guid in .... {\n    n = 1;\n}", "Found 0 albums", "Found 2 rolls",
                                  "no guid in .... {\n    GUID = x;\n}", "Found 0 faces"));
  EXPECT_EQ(albums.containerDicts().size(), 1u);
}

TEST_F(LegacyAlbums, ofStrangeKindsDoNotDisturbTheOthers) {
  write(plist(
      "<dict><key>List of Albums</key><array><string>s</string><array/><integer>3</integer>"
      "<dict><key>GUID</key><integer>12</integer></dict><dict><key>GUID</key><array/></dict>"
      "<dict><key>GUID</key><string></string></dict></array>"
      "<key>List of Rolls</key><dict><key>a</key><dict/></dict><key>List of Faces</key><true/></dict>"));
  const auto lines = load();
  EXPECT_THAT(lines, testing::Contains("Found 2 albums"));
  EXPECT_THAT(lines, testing::Contains("Found 0 rolls"));
  EXPECT_THAT(lines, testing::Contains("Found 0 faces"));
  EXPECT_EQ(lines.size(), 7u);
  EXPECT_EQ(albums.containerDict("12")["GUID"], Value(12));
  EXPECT_TRUE(albums.containerDict("").isDictionary());
}

TEST_F(LegacyAlbums, inAFileWithoutADictionaryAreEmpty) {
  write(plist("<array><dict><key>GUID</key><string>a</string></dict></array>"));
  EXPECT_THAT(load(), ElementsAre("Found 0 albums", "Found 0 rolls", "Found 0 faces"));
  EXPECT_EQ(served.messages.count("Error", "reading iPhoto data"), 0);
}

TEST_F(LegacyAlbums, inABrokenFileAreEmptyAndTheUserGetsAMessage) {
  const std::string whole = plist(kTwoAlbumsAndARoll);
  write(whole);
  load();
  write("");
  expectUnreadable("line 1");
  write(whole.substr(0, whole.size() / 2));
  expectUnreadable("line ");
  write("no xml");
  expectUnreadable("line 1");
  write("<html></html>");
  expectUnreadable("it is no property list");
}

TEST_F(LegacyAlbums, inAFileThatEndsEarlyAreThoseOfCompleteLists) {
  const std::string whole = plist(kTwoAlbumsAndARoll);
  write(whole.substr(0, whole.find("<key>List of Rolls")));
  EXPECT_THAT(load(), ElementsAre("Found 2 albums", "Found 0 rolls", "Found 0 faces"));
  EXPECT_EQ(served.messages.count("Error", "Problem with reading iPhoto data: '" + path + ": line "), 1);
  EXPECT_TRUE(albums.couldNotBeRead());
}

TEST_F(LegacyAlbums, inAMendedFileAreReadAndOneLineSaysSo) {
  std::string odd = plist(kTwoAlbumsAndARoll) + std::string(3, '\0');
  odd.insert(odd.find("<string>x</string>") + 8, "\v & \xFF");
  odd.insert(odd.find("<key>TransitionSpeed"), "<key>PhotoCount</key><integer></integer>");
  write(odd);
  served.messages.lines.clear();
  EXPECT_THAT(load(), ElementsAre("Found 2 albums", "Found 1 rolls", "Found 1 faces"));
  ASSERT_EQ(served.messages.lines.size(), 1u);
  EXPECT_EQ(served.messages.lines[0].first, "Info");
  EXPECT_EQ(served.messages.lines[0].second,
            path + ": 5 places were mended or left out, the first in line 10");
  EXPECT_EQ(albums.containerDict("b"), Value(Dictionary({{"GUID", "b"}, {"TransitionSpeed", 1.5}})));
}

TEST_F(LegacyAlbums, inAnUnreadableFileAreEmpty) {
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  expectUnreadable("it is no file");
  fs::remove(path);
  fs::create_directory(path);
  expectUnreadable("it is no file");
}

TEST_F(LegacyAlbums, inAFileThatCouldNotBeReadAreReadTheNextTime) {
  fs::create_directory(path);
  expectUnreadable("it is no file");
  EXPECT_FALSE(albums.albumDataReadDate());
  fs::remove(path);
  write(plist(kTwoAlbumsAndARoll));
  const fs::file_time_type longAgo = fs::last_write_time(path) - std::chrono::hours(24 * 365 * 40);
  fs::last_write_time(path, longAgo);
  EXPECT_EQ(load().size(), 3u);
  EXPECT_TRUE(albums.albumDataReadDate());
  EXPECT_FALSE(albums.couldNotBeRead());
  EXPECT_TRUE(load().empty());
}

TEST_F(LegacyAlbums, behindALinkOutOfTheLibraryAreAsAMissingFile) {
  const TemporaryFolder elsewhere;
  std::ofstream(elsewhere.path() / "AlbumData.xml") << plist(kTwoAlbumsAndARoll);
  fs::create_symlink(elsewhere.path() / "AlbumData.xml", path);
  served.messages.lines.clear();
  EXPECT_THAT(load(), testing::IsEmpty());
  EXPECT_TRUE(albums.containerDicts().empty());
  EXPECT_FALSE(albums.couldNotBeRead());
  ASSERT_EQ(served.messages.lines.size(), 1u);
  EXPECT_THAT(served.messages.lines[0].second,
              HasSubstr("'" + path + "' is a link that leads out of the library"));
}

TEST_F(LegacyAlbums, behindALinkInsideTheLibraryAreRead) {
  fs::create_directory(folder.path() / "Saved");
  std::ofstream(folder.path() / "Saved/Albums.xml") << plist(kTwoAlbumsAndARoll);
  fs::create_symlink("Saved/Albums.xml", path);
  EXPECT_EQ(load().size(), 3u);
  EXPECT_EQ(albums.containerDicts().size(), 3u);
}

TEST_F(LegacyAlbums, areReadFromALibraryWhosePathIsOutsideAscii) {
  const fs::path odd = folder.path() /
                       "B\xC3\xBC"
                       "cher";
  fs::create_directory(odd);
  std::ofstream(odd / "AlbumData.xml") << plist(kTwoAlbumsAndARoll);
  served.defaults.setString("LibraryPath", odd.string());
  albums.loadAlbumData();
  EXPECT_EQ(albums.containerDicts().size(), 3u);
}

}  // namespace
}  // namespace moxtel::test
