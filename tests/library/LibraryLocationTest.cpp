#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "tests/library/ServedLibrary.h"

namespace moxtel::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using Path = std::optional<std::string>;

FakeProcessRunner::Answer printing(std::string output, int status = 0) {
  return [=](const ProcessRequest&) { return FakeProcessRunner::printing(output, status); };
}

TEST(LibraryLocation, takesTheUsersPathUnchangedWithoutTheTool) {
  ServedLibrary served({}, printing("/elsewhere\n"));
  served.defaults.setString("LibraryPath", "~/Pictures/Old");
  const std::size_t before = served.messages.lines.size();
  served.location.readPhotoAppDefaults();
  EXPECT_EQ(served.location.libraryPath(), Path("~/Pictures/Old"));
  EXPECT_TRUE(served.processes.requests().empty());
  EXPECT_EQ(served.messages.lines.size(), before);
}

TEST(LibraryLocation, asksTheToolForIPhotosSetting) {
  ServedLibrary served({}, printing("/photos/iPhoto Library\n"));
  served.location.readPhotoAppDefaults();
  ASSERT_EQ(served.processes.requests().size(), 1u);
  EXPECT_EQ(served.processes.requests()[0].program, "/the/tool");
  EXPECT_THAT(served.processes.requests()[0].arguments,
              ElementsAre("read", "com.apple.iPhoto", "LibraryPath"));
  EXPECT_EQ(served.location.libraryPath(), Path("/photos/iPhoto Library"));
  EXPECT_TRUE(served.log.contains("root directory: /photos/iPhoto Library"));
  EXPECT_EQ(served.messages.lines.back(),
            std::pair(std::string("Info"), std::string("Found library path: '/photos/iPhoto Library'")));
}

TEST(LibraryLocation, asksForAperturesSettingOnlyWhenItIsPreferredAndIPhotoDoesNotRun) {
  ServedLibrary served({}, printing("/a\n"));
  const auto domain = [&] {
    served.location.readPhotoAppDefaults();
    return served.processes.requests().back().arguments[1];
  };
  served.location.preferAperture = true;
  EXPECT_EQ(domain(), "com.apple.Aperture");
  served.flags.connectedWithIPhoto = true;
  EXPECT_EQ(domain(), "com.apple.iPhoto");
  served.location.preferAperture = false;
  EXPECT_EQ(domain(), "com.apple.iPhoto");
}

TEST(LibraryLocation, expandsALeadingTildeOfTheToolsAnswer) {
  ServedLibrary served({}, printing("  ~/Pictures/Library \r\n"));
  served.location.readPhotoAppDefaults();
  EXPECT_EQ(served.location.libraryPath(), Path(std::string(std::getenv("HOME")) + "/Pictures/Library"));
}

TEST(LibraryLocation, expandsAnotherUsersTildeAndLeavesAnUnknownOnes) {
  ServedLibrary served({}, printing("~root/x\n"));
  served.location.readPhotoAppDefaults();
  EXPECT_EQ(served.location.libraryPath(), Path("/root/x"));
  ServedLibrary unknown({}, printing("~nobody-of-this-name/x\n"));
  unknown.location.readPhotoAppDefaults();
  EXPECT_EQ(unknown.location.libraryPath(), Path("~nobody-of-this-name/x"));
}

TEST(LibraryLocation, keepsItsPathWhenTheKeyDoesNotExist) {
  std::string answer = "/first\n";
  int status = 0;
  ServedLibrary served({},
                       [&](const ProcessRequest&) { return FakeProcessRunner::printing(answer, status); });
  served.location.readPhotoAppDefaults();
  answer = "The domain/default pair of (com.apple.iPhoto, LibraryPath) does not exist\n";
  status = 1;
  served.location.readPhotoAppDefaults();
  EXPECT_EQ(served.location.libraryPath(), Path("/first"));
  EXPECT_TRUE(served.log.contains("no iPhoto default found"));
  EXPECT_EQ(served.messages.count("Info", "Found library path: '/first'"), 2);
}

TEST(LibraryLocation, saysThatThereIsNoPathWhenNothingIsKnown) {
  ServedLibrary served({}, printing("does not exist", 0));
  served.location.readPhotoAppDefaults();
  EXPECT_EQ(served.location.libraryPath(), Path());
  EXPECT_TRUE(served.log.contains("root directory: (null)"));
  EXPECT_EQ(served.messages.count("Info", "Found library path: '(null)'"), 1);
}

TEST(LibraryLocation, takesEveryChunkForAWholeAnswer) {
  ServedLibrary served({}, printing(""));
  served.processes.setChunks({"/one\n", "/two\n"});
  served.location.readPhotoAppDefaults();
  EXPECT_EQ(served.location.libraryPath(), Path("/two"));
  served.processes.setChunks({"/photos/Lib", "rary\n"});
  served.location.readPhotoAppDefaults();
  EXPECT_EQ(served.location.libraryPath(), Path("/photos/Lib"));
  served.processes.setChunks({"/three\n", "it does not exist", "/four\n"});
  served.location.readPhotoAppDefaults();
  EXPECT_EQ(served.location.libraryPath(), Path("/three"));
}

TEST(LibraryLocation, ignoresAnAnswerThatIsNoPath) {
  for (const char* answer : {"", "\n", "relative/path\n", "usage: defaults [options]\n", "{ a = b; }"}) {
    ServedLibrary served({}, printing(answer));
    served.location.readPhotoAppDefaults();
    EXPECT_EQ(served.location.libraryPath(), Path()) << answer;
    EXPECT_EQ(served.messages.count("Info", "Found library path: '(null)'"), 1) << answer;
  }
}

TEST(LibraryLocation, doesNotTakeTheAnswerOfAToolThatFailed) {
  ServedLibrary served({}, printing("/photos\n", 3));
  served.location.readPhotoAppDefaults();
  EXPECT_EQ(served.location.libraryPath(), Path());
  for (const std::string& line : served.log.lines()) EXPECT_THAT(line, Not(HasSubstr("root directory")));
  EXPECT_EQ(served.messages.count("Info", "Found library path: '(null)'"), 1);
}

TEST(LibraryLocation, reportsAToolThatIsMissingHangsOrPrintsTooMuch) {
  using Ending = ProcessResult::Ending;
  for (const Ending ending : {Ending::NotStarted, Ending::TimedOut, Ending::TooMuchOutput}) {
    ServedLibrary served({}, [&](const ProcessRequest&) {
      return ProcessResult{ending, -1, "/photos\n", {}};
    });
    served.location.readPhotoAppDefaults();
    EXPECT_EQ(served.location.libraryPath(), Path());
    EXPECT_THAT(served.log.lines(), Contains(HasSubstr("problem with pipe: ")));
    EXPECT_EQ(served.messages.count("Error", "Could not find iPhoto directory!"), 1);
    EXPECT_EQ(served.messages.count("Info", "Found library path"), 0);
  }
}

TEST(LibraryLocation, boundsTheTimeThatTheToolMayTake) {
  ServedLibrary served({}, printing("/a\n"));
  served.location.readPhotoAppDefaults();
  EXPECT_LE(served.processes.requests()[0].timeout, std::chrono::seconds(10));
}

TEST(LibraryLocation, takesAnAnswerOutsideAscii) {
  ServedLibrary served({}, printing("/photos/\xC3\x9Cte\n"));
  served.location.readPhotoAppDefaults();
  EXPECT_EQ(served.location.libraryPath(), Path("/photos/\xC3\x9Cte"));
  EXPECT_EQ(served.messages.count("Error", "symbolic link"), 0);
}

TEST(LibraryLocation, explainsAnAnswerThatIsNoUtf8) {
  ServedLibrary served({}, printing("/photos/\xDCte\n"));
  served.location.readPhotoAppDefaults();
  EXPECT_EQ(served.location.libraryPath(), Path());
  EXPECT_EQ(served.messages.count("Error", "symbolic link"), 1);
}

TEST(LibraryLocation, derivesTheFourFileNamesOnLoading) {
  ServedLibrary served;
  EXPECT_EQ(served.databases.pathOf(DatabaseFile::Library), Path());
  served.defaults.setString("LibraryPath", "/no/such/library/");
  served.library.loadDatabase();
  EXPECT_EQ(served.databases.pathOf(DatabaseFile::Library),
            Path("/no/such/library/Database/apdb/Library.apdb"));
  EXPECT_EQ(served.databases.pathOf(DatabaseFile::ImageProxies),
            Path("/no/such/library/Database/apdb/ImageProxies.apdb"));
  EXPECT_EQ(served.databases.pathOf(DatabaseFile::Properties),
            Path("/no/such/library/Database/apdb/Properties.apdb"));
  EXPECT_EQ(served.databases.pathOf(DatabaseFile::Faces), Path("/no/such/library/Database/apdb/Faces.db"));
}

TEST(LibraryLocation, logsTheLoadingInItsOrder) {
  TestLibrary files;
  ServedLibrary served;
  served.defaults.setString("LibraryPath", files.path());
  const SystemLogCapture log;
  served.library.loadDatabase();
  const std::string apdb = files.path() + "/Database/apdb/";
  EXPECT_THAT(log.lines(),
              ElementsAre("\n\n--------------------------------- RELOAD DATABASE --------------------\n\n",
                          "databaseFilename: '" + apdb + "Library.apdb', proxiesDBFilename: '" + apdb +
                              "ImageProxies.apdb'",
                          "done"));
}

TEST(LibraryLocation, remembersDateAndSizeOfTheMainDatabase) {
  TestLibrary files;
  ServedLibrary served(files.path());
  const std::filesystem::path path(files.pathOf(DatabaseFile::Library));
  const auto modified = std::chrono::file_clock::to_sys(std::filesystem::last_write_time(path));
  const double seconds = std::chrono::duration<double>(modified.time_since_epoch()).count() - 978307200.0;
  EXPECT_TRUE(served.library.usingDB());
  EXPECT_FALSE(served.library.runStandalone());
  ASSERT_TRUE(served.library.databaseReadDate());
  EXPECT_NEAR(served.library.databaseReadDate()->seconds, seconds, 1e-5);
  EXPECT_EQ(served.library.databaseReadSize(), std::filesystem::file_size(path));
}

TEST(LibraryLocation, reportsAMissingLibrary) {
  ServedLibrary served("/no/such/library");
  EXPECT_TRUE(served.library.runStandalone());
  EXPECT_FALSE(served.library.usingDB());
  EXPECT_FALSE(served.library.databaseReadDate());
  ASSERT_EQ(served.messages.count("Error", "Problem with reading iPhoto or Aperture data: '"), 1);
  EXPECT_EQ(served.messages.count("Error",
                                  "'\nPlease quit MoxtelServer, start and quit iPhoto, then start "
                                  "MoxtelServer again."),
            1);
}

TEST(LibraryLocation, staysStandaloneAndKeepsDateAndSizeAfterAFailedLoading) {
  TestLibrary files;
  ServedLibrary served(files.path());
  const auto size = served.library.databaseReadSize();
  served.defaults.setString("LibraryPath", "/no/such/library");
  served.library.loadDatabase();
  EXPECT_TRUE(served.library.runStandalone());
  EXPECT_TRUE(served.library.usingDB());
  EXPECT_EQ(served.library.databaseReadSize(), size);
  served.defaults.setString("LibraryPath", files.path());
  served.library.loadDatabase();
  EXPECT_TRUE(served.library.runStandalone());
  served.library.resetStandalone();
  EXPECT_FALSE(served.library.runStandalone());
}

TEST(LibraryLocation, withoutAPathLoadingReportsItAndOpeningFails) {
  ServedLibrary served({}, [](const ProcessRequest&) { return ProcessResult{}; });
  served.library.loadDatabase();
  EXPECT_TRUE(served.library.runStandalone());
  EXPECT_TRUE(served.log.contains("databaseFilename: '(null)', proxiesDBFilename: '(null)'"));
  EXPECT_FALSE(served.databases.openDatabase());
  EXPECT_TRUE(served.log.contains("could not open db '(null)', result: 14"));
}

// The name that the photo application gives in French, in both normal forms, and others.
TEST(LibraryLocation, opensDatabasesBelowAPathOutsideAscii) {
  for (const char* name : {"Biblioth\xC3\xA8que iPhoto", "Bibliothe\xCC\x80que iPhoto",
                           "\xE5\x86\x99\xE7\x9C\x9F", "\xF0\x9F\x93\xB7 'a%20?#\"b"}) {
    TestLibrary files(name);
    ServedLibrary served(files.path());
    EXPECT_TRUE(served.databases.openDatabase()) << name;
    EXPECT_EQ(served.number(DatabaseFile::Library, "SELECT COUNT(uuid) FROM RKVersion"), 0) << name;
    EXPECT_TRUE(served.messages.lines.empty()) << name;
    EXPECT_FALSE(served.log.contains("could not open db")) << name;
  }
}

TEST(LibraryLocation, logsAPathOutsideAsciiThatCannotBeOpened) {
  ServedLibrary served(
      "/none/B\xC3\xBC"
      "cher");
  EXPECT_FALSE(served.databases.openDatabase());
  EXPECT_TRUE(
      served.log.contains("could not open db '/none/B\xC3\xBC"
                          "cher/Database/apdb/Library.apdb', result: 14"));
}

TEST(LibraryLocation, aPathThatIsNoUtf8IsNotOpenedAndTheUserGetsAdvice) {
  TestLibrary files(
      "B\xFC"
      "cher");
  ServedLibrary served(files.path());
  EXPECT_FALSE(served.databases.openDatabase());
  EXPECT_EQ(served.databases.result(), SQLITE_CANTOPEN);
  EXPECT_EQ(served.messages.count("Error", "symbolic link"), 1);
}

TEST(LibraryLocation, aSymbolicLinkWithAPlainNameHelps) {
  TestLibrary files(
      "B\xFC"
      "cher");
  const TemporaryFolder folder;
  const std::string link = (folder.path() / "Books").string();
  std::filesystem::create_directory_symlink(files.path(), link);
  ServedLibrary served(link);
  EXPECT_TRUE(served.databases.openDatabase());
  EXPECT_EQ(served.number(DatabaseFile::Library, "SELECT COUNT(uuid) FROM RKVersion"), 0);
  EXPECT_EQ(served.messages.count("Error", "symbolic link"), 0);
}

}  // namespace
}  // namespace moxtel::test
