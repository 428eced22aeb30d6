#include "app/MXPAppDelegate.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include "library/albumdata/AlbumData.h"
#include "library/database/LibraryDatabases.h"
#include "platform/applications/ScriptInterpreters.h"
#include "platform/system/SystemLog.h"
#include "tests/StringTable.h"
#include "tests/fakes/FakeDnsSd.h"
#include "tests/fakes/FakeProcessRunner.h"
#include "tests/fakes/FakeRunningApplications.h"
#include "tests/library/TestLibrary.h"
#include "tests/library/answers/MadeRule.h"
#include "tests/net/RawClient.h"

namespace moxtel {
namespace {

class RecordingView : public ConsoleView {
 public:
  void appendLine(const ConsoleLine& line) override { lines.push_back(line.title + ": " + line.text); }
  bool contains(std::string_view line) const {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }
  std::size_t count(std::string_view line) const { return std::count(lines.begin(), lines.end(), line); }
  void raise() override { ++raised; }
  std::vector<std::string> lines;
  int raised = 0;
};

// Runs tasks of other threads on the test's thread, when the test calls runPosted().
class TestThreadEventLoop final : public FakeEventLoop {
 public:
  bool performAndWait(Task task) override {
    if (isCurrent()) return FakeEventLoop::performAndWait(std::move(task));
    const auto done = std::make_shared<std::promise<bool>>();
    std::future<bool> result = done->get_future();
    post([done, run = std::move(task)] { done->set_value(runLogged(run)); });
    while (result.wait_for(std::chrono::milliseconds(5)) != std::future_status::ready) {
      if (ended_) return false;
    }
    return result.get();
  }
  // Ends the wait of other threads in performAndWait. No task may run afterwards.
  void end() { ended_ = true; }

 private:
  std::atomic<bool> ended_{false};
};

// A client connection to a port of this machine.
class Peer final {
 public:
  explicit Peer(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    connected = ::connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  }
  ~Peer() { ::close(socket_); }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  // Waits until the server closes the connection without having sent anything; false after 20 seconds.
  bool isClosedByTheServer() const {
    const timeval limit{20, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    char byte = 0;
    return ::recv(socket_, &byte, 1, 0) == 0;
  }
  bool connected = false;

 private:
  int socket_;
};

// A legacy album file with one album and one face.
void writeAlbumData(const test::TestLibrary& library) {
  std::ofstream(library.path() + "/AlbumData.xml")
      << "<plist version=\"1.0\"><dict><key>List of Albums</key><array><dict><key>GUID</key>"
         "<string>album</string></dict></array><key>List of Faces</key><dict><key>1</key><dict/></dict>"
         "</dict></plist>";
}

class MXPAppDelegateTest : public ::testing::Test {
 protected:
  MXPAppDelegateTest() {
    defaults.setString("LibraryPath", library.path());
    defaults.setString("Port", "0");
    console.addView(view);
  }
  ~MXPAppDelegateTest() override {
    loop.end();
    delegate.reset();
  }

  MXPAppDelegate& launched() {
    MXPAppDelegate::initialize(defaults);
    delegate = std::make_unique<MXPAppDelegate>(ServerEnvironment{
        loop, defaults, notifications, processes, applications, scripts, console, &discovery, hostLookup});
    delegate->applicationDidFinishLaunching();
    return *delegate;
  }

  // Runs posted tasks until the console has shown a line that many times. False after a timeout.
  bool eventually(std::string_view line, std::size_t times = 1) {
    for (int i = 0; i < 500; ++i) {
      loop.runPosted();
      if (view.count(line) >= times) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
  }

  static Notification connection(const char* clientName) {
    return {"ChangedConnection", nullptr, Dictionary{{"clientip", "127.0.0.1"}, {"clientname", clientName}}};
  }

  test::TestLibrary library;
  SystemLogCapture log;
  TestThreadEventLoop loop;
  UserDefaults defaults;
  NotificationCenter notifications;
  FakeProcessRunner processes;
  FakeRunningApplications applications;
  NoScriptRunner scripts;
  MXSConsole console{loop, defaults};
  FakeDnsSd discovery;
  ConnectionLines::HostLookup hostLookup = nameOfHost;
  RecordingView view;
  std::unique_ptr<MXPAppDelegate> delegate;
};

TEST_F(MXPAppDelegateTest, servesWithoutARunningPhotoApplication) {
  launched();
  EXPECT_TRUE(view.contains("Info: Running app: <none>"));
  EXPECT_NE(delegate->server().port(), 0);
  EXPECT_TRUE(Peer(delegate->server().port()).connected);
}

TEST_F(MXPAppDelegateTest, doesNotRaiseTheConsoleToSayThatThereIsNoLibraryYet) {
  defaults.remove("LibraryPath");
  launched();
  EXPECT_TRUE(view.contains(
      "Error: Problem with reading iPhoto or Aperture data: 'no library path is known'\nPlease quit "
      "MoxtelServer, start and quit iPhoto, then start MoxtelServer again."));
  EXPECT_EQ(view.raised, 0);
}

TEST_F(MXPAppDelegateTest, raisesTheConsoleForALibraryThatIsAway) {
  defaults.setString("LibraryPath", "/no/such/library");
  launched();
  EXPECT_GT(view.raised, 0);
}

TEST_F(MXPAppDelegateTest, evaluatesNoRuleOfASmartAlbumAtItsStart) {
  library.insert("RKVersion", Dictionary{{"uuid", "photo"}, {"showInLibrary", 1}, {"isInTrash", 0}});
  library.insert("RKAlbum", Dictionary{{"uuid", "s"},
                                       {"name", "Zoo"},
                                       {"folderUuid", "TopLevelAlbums"},
                                       {"isInTrash", 0},
                                       {"albumType", 1},
                                       {"albumSubclass", 2},
                                       {"queryData", test::stored(test::all({test::notUnderstood()}))}});
  launched();
  EXPECT_TRUE(std::none_of(view.lines.begin(), view.lines.end(), [](const std::string& line) {
    return line.find("may lack photos") != std::string::npos;
  }));
  const auto explanation = delegate->explainAlbum("s");
  EXPECT_EQ(explanation.problem, "");
  EXPECT_NE(explanation.text.find("Undecided: 1 photo."), std::string::npos) << explanation.text;
  EXPECT_EQ(delegate->explainAlbum("none").problem, "There is no smart album with the id 'none'.");
}

TEST_F(MXPAppDelegateTest, publishesTheServiceUnderItsTypeAndPort) {
  launched();
  ASSERT_EQ(discovery.published().size(), 1u);
  EXPECT_EQ(discovery.published()[0].type, "_moxtelserver._tcp.");
  EXPECT_EQ(discovery.published()[0].port, delegate->server().port());
}

TEST_F(MXPAppDelegateTest, reportsItsPublishedNameAndPort) {
  launched();
  discovery.changePublications({PublicationState::Kind::Published, "Photo Box", "Avahi daemon"});
  loop.runPosted();
  const std::string port = std::to_string(delegate->server().port());
  const auto isReport = [&](const std::string& line) {
    return line.find("Photo Box") != std::string::npos && line.find(port) != std::string::npos;
  };
  EXPECT_EQ(std::count_if(view.lines.begin(), view.lines.end(), isReport), 1);
}

TEST_F(MXPAppDelegateTest, reportsTheRunningApplication) {
  applications.set({"Finder", "Aperture"});
  launched();
  EXPECT_TRUE(view.contains("Info: Running app: Aperture"));
}

TEST_F(MXPAppDelegateTest, reportsIPhotoWhenApertureIsPreferredAndServes) {
  applications.set({"iPhoto", "Aperture"});
  defaults.setBool("PreferAperture", true);
  launched();
  const auto at = std::find(view.lines.begin(), view.lines.end(),
                            "Error: Should prefer Aperture, but iPhoto is running...");
  ASSERT_NE(at, view.lines.end());
  EXPECT_EQ(*(at + 1), "Info: Running app: iPhoto");
  EXPECT_NE(delegate->server().port(), 0);
}

TEST_F(MXPAppDelegateTest, waitsForTheApplicationsOfAnotherMachineBeforeItChecksThem) {
  defaults.setBool("PreferAperture", true);
  applications.onAwait = [this](std::chrono::milliseconds longest, const std::function<void()>& onWait) {
    EXPECT_EQ(longest, std::chrono::seconds(5));
    EXPECT_EQ(applications.asked(), 0);
    onWait();
    applications.set({"iPhoto"});
  };
  launched();
  const auto at =
      std::find(view.lines.begin(), view.lines.end(),
                "Info: Asking the script interpreter which photo applications run (5 seconds at most)");
  ASSERT_NE(at, view.lines.end());
  EXPECT_EQ(*(at + 1), "Info: iPhoto was started");
  EXPECT_EQ(*(at + 2), "Error: Should prefer Aperture, but iPhoto is running...");
  EXPECT_EQ(*(at + 3), "Info: Running app: iPhoto");
}

TEST_F(MXPAppDelegateTest, fillsTheTopLevelListsBeforeTheFirstRequest) {
  launched();
  EXPECT_TRUE(log.contains("In parentUuid 'TopLevelAlbums' I found 0 folders, 0 projects and 0 albums"));
  EXPECT_TRUE(log.contains("In parentUuid 'AllProjectsItem' I found 0 folders, 0 projects and 0 albums"));
}

TEST_F(MXPAppDelegateTest, reportsConnectAndDisconnectWithTheSameShortName) {
  launched();
  {
    const Peer peer(delegate->server().port());
    ASSERT_TRUE(eventually("Info: Connected to Moxtel on 'localhost'"));
  }
  EXPECT_TRUE(eventually("Info: Lost connection to Moxtel on 'localhost'"));
  EXPECT_TRUE(log.contains("changedConnection: 1"));
  EXPECT_TRUE(log.contains("changedConnection: 0"));
}

TEST_F(MXPAppDelegateTest, answersBeforeTheNameOfTheClientIsKnown) {
  std::promise<std::optional<std::string>> name;
  hostLookup = [answer = name.get_future().share()](const std::string&) { return answer.get(); };
  launched();
  auto reply = std::async(std::launch::async, [port = delegate->server().port()] {
    RawClient client = RawClient::to(port);
    client.sendCommand(Dictionary{{"command", "Get Version"}});
    return client.readEnvelope()["result"];
  });
  while (reply.wait_for(std::chrono::milliseconds(5)) != std::future_status::ready) loop.runPosted();
  EXPECT_EQ(reply.get(), Value("1.4"));
  name.set_value("ipad.local");
  EXPECT_TRUE(eventually("Info: Lost connection to Moxtel on 'ipad'"));
  EXPECT_TRUE(view.contains("Info: Connected to Moxtel on 'ipad'"));
}

TEST_F(MXPAppDelegateTest, usesTheClientNameOfANotification) {
  launched();
  const Peer peer(delegate->server().port());
  ASSERT_TRUE(eventually("Info: Connected to Moxtel on 'localhost'"));
  delegate->changedConnection(connection("ipad.local"));
  EXPECT_TRUE(eventually("Info: Connected to Moxtel on 'ipad'"));
}

TEST_F(MXPAppDelegateTest, loadsTheLibraryAgainForEachClient) {
  launched();
  const std::string reload = "\n\n--------------------------------- RELOAD DATABASE --------------------\n\n";
  const auto count = [&] {
    const auto lines = log.lines();
    return std::count(lines.begin(), lines.end(), reload);
  };
  const auto before = count();
  const Peer peer(delegate->server().port());
  ASSERT_TRUE(eventually("Info: Connected to Moxtel on 'localhost'"));
  for (int i = 0; i < 500 && count() == before; ++i) {
    loop.runPosted();
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_EQ(count(), before + 1);
}

TEST_F(MXPAppDelegateTest, aChangedPreferenceForgetsAndDisconnectsTheClient) {
  // The console shows every line.
  defaults.setString("DebugLevel", "1");
  launched();
  for (std::size_t i = 1; i <= 60; ++i) {
    const Peer peer(delegate->server().port());
    ASSERT_TRUE(eventually("Info: Connected to Moxtel on 'localhost'", i));
    defaults.setBool("PreferAperture", i % 2 == 1);
    delegate->changedPreferAperture();
    ASSERT_TRUE(eventually("Info: Lost connection to Moxtel", i));
    EXPECT_EQ(view.count("Info: Reloading database after changing photo app"), i);
  }
  EXPECT_FALSE(view.contains("Info: Lost connection to Moxtel on 'localhost'"));
}

TEST_F(MXPAppDelegateTest, forgetsItsClientWhenItRestarts) {
  launched();
  {
    const Peer peer(delegate->server().port());
    ASSERT_TRUE(eventually("Info: Connected to Moxtel on 'localhost'"));
    delegate->startup();
  }
  EXPECT_TRUE(eventually("Info: Lost connection to Moxtel"));
  EXPECT_FALSE(view.contains("Info: Lost connection to Moxtel on 'localhost'"));
}

TEST_F(MXPAppDelegateTest, aDisconnectWithoutAKnownClientHasNoName) {
  launched();
  delegate->changedConnection({"ChangedConnection", nullptr, Value()});
  EXPECT_TRUE(eventually("Info: Lost connection to Moxtel"));
}

TEST_F(MXPAppDelegateTest, reportsABusyPort) {
  launched();
  const std::uint16_t taken = delegate->server().port();
  defaults.setString("Port", std::to_string(taken));
  MXPAppDelegate second(ServerEnvironment{loop, defaults, notifications, processes, applications, scripts,
                                          console, &discovery});
  second.startServer();
  EXPECT_TRUE(
      view.contains("Error: Cannot listen on port " + std::to_string(taken) + ": Address already in use"));
}

TEST_F(MXPAppDelegateTest, listensOnlyOnTheAddressOfTheSettings) {
  defaults.setString("ListenAddress", "127.0.0.5");
  launched();
  EXPECT_NE(delegate->server().port(), 0);
  EXPECT_FALSE(Peer(delegate->server().port()).connected);
  EXPECT_EQ(delegate->status().addresses, std::vector<std::string>{"127.0.0.5"});
}

TEST_F(MXPAppDelegateTest, turnsAwayClientsThatTheSettingsDoNotAllow) {
  defaults.setString("AllowedClients", "192.0.2.0/24");
  launched();
  EXPECT_TRUE(Peer(delegate->server().port()).isClosedByTheServer());
  EXPECT_FALSE(view.contains("Info: Connected to Moxtel on 'localhost'"));
}

TEST_F(MXPAppDelegateTest, doesNotListenWithAWrongListOfClients) {
  defaults.setString("AllowedClients", "phone");
  launched();
  EXPECT_EQ(delegate->server().port(), 0);
  EXPECT_TRUE(view.contains(
      "Error: Cannot listen: -AllowedClients: 'phone' is neither an IPv4 address nor a network such as "
      "192.168.1.0/24"));
}

TEST_F(MXPAppDelegateTest, saysInTheUsersLanguageWhichSettingIsWrong) {
  test::setStringTable({{"-ListenAddress: '%@' is not an IPv4 address", "Keine Adresse: %@"}});
  defaults.setString("ListenAddress", "house");
  launched();
  EXPECT_TRUE(view.contains("Error: Cannot listen: Keine Adresse: house"));
  setTranslator({});
}

TEST_F(MXPAppDelegateTest, triesABusyPortAgainWhenItReloads) {
  launched();
  EXPECT_TRUE(delegate->isServing());
  const std::uint16_t taken = delegate->server().port();
  defaults.setString("Port", std::to_string(taken));
  MXPAppDelegate second(ServerEnvironment{loop, defaults, notifications, processes, applications, scripts,
                                          console, &discovery});
  second.startServer();
  EXPECT_FALSE(second.isServing());
  second.reload();
  EXPECT_FALSE(second.isServing());
  delegate.reset();
  second.reload();
  EXPECT_TRUE(second.isServing());
  EXPECT_EQ(second.server().port(), taken);
  EXPECT_TRUE(Peer(taken).connected);
  EXPECT_EQ(view.lines.back(), "Info: Listening on port " + std::to_string(taken));
}

TEST_F(MXPAppDelegateTest, keepsItsListenerWhenItReloads) {
  launched();
  const std::uint16_t port = delegate->server().port();
  delegate->reload();
  EXPECT_EQ(delegate->server().port(), port);
  EXPECT_EQ(view.count("Info: Listening on port " + std::to_string(port)), 1u);
}

TEST_F(MXPAppDelegateTest, hasHelpInTheUsersLanguage) {
  const auto german = MXPAppDelegate::attributedStringHelp("de");
  ASSERT_TRUE(german);
  EXPECT_NE(german->find("lang=\"de\""), std::string::npos);
  const auto english = MXPAppDelegate::attributedStringHelp("xx");
  ASSERT_TRUE(english);
  EXPECT_NE(english->find("lang=\"en\""), std::string::npos);
}

TEST_F(MXPAppDelegateTest, servesAnotherLibraryAndStoresItsPath) {
  launched();
  test::TestLibrary another("Another");
  another.insert("RKFolder", Dictionary{{"uuid", "p"},
                                        {"name", "Trip"},
                                        {"folderType", 2},
                                        {"parentFolderUuid", "AllProjectsItem"},
                                        {"isInTrash", 0},
                                        {"isHiddenWhenEmpty", 0},
                                        {"versionCount", 4}});
  EXPECT_EQ(delegate->changedLibraryPath(another.path()), "");
  EXPECT_EQ(defaults.stringForKey("LibraryPath"), another.path());
  EXPECT_EQ(delegate->status().libraryPath, another.path());
  EXPECT_TRUE(log.contains("In parentUuid 'AllProjectsItem' I found 0 folders, 1 projects and 0 albums"));
  EXPECT_EQ(delegate->status().counts.events, 1);
}

TEST_F(MXPAppDelegateTest, rejectsAFolderThatIsNotALibraryAndKeepsTheOldOne) {
  launched();
  EXPECT_NE(delegate->changedLibraryPath("/nowhere"), "");
  EXPECT_EQ(defaults.stringForKey("LibraryPath"), library.path());
  EXPECT_EQ(delegate->status().libraryPath, library.path());
}

// An unreadable library is not tried again until another one is chosen.
TEST_F(MXPAppDelegateTest, readsAnotherLibraryAfterAnUnreadableOne) {
  const std::string good = library.path();
  defaults.setString("LibraryPath", "/nowhere");
  launched();
  EXPECT_TRUE(delegate->library().runStandalone());
  EXPECT_EQ(delegate->changedLibraryPath(good), "");
  EXPECT_FALSE(delegate->library().runStandalone());
  EXPECT_EQ(delegate->status().libraryProblem, "");
}

TEST_F(MXPAppDelegateTest, dropsTheAlbumFileOfTheOldLibrary) {
  writeAlbumData(library);
  launched();
  ASSERT_EQ(delegate->albumData().containerDicts().size(), 1u);
  ASSERT_FALSE(delegate->albumData().faceDicts().isNil());
  ASSERT_TRUE(delegate->albumData().albumDataReadDate());
  const test::TestLibrary another("Another");
  EXPECT_EQ(delegate->changedLibraryPath(another.path()), "");
  EXPECT_TRUE(delegate->albumData().containerDicts().empty());
  EXPECT_TRUE(delegate->albumData().faceDicts().isNil());
  EXPECT_FALSE(delegate->albumData().albumDataReadDate());
}

// The date at which the old library's file was read must not make an older file look unchanged.
TEST_F(MXPAppDelegateTest, readsTheNewLibrarysAlbumFileEvenIfItIsOlder) {
  writeAlbumData(library);
  launched();
  const test::TestLibrary another("Another");
  writeAlbumData(another);
  std::filesystem::last_write_time(another.path() + "/AlbumData.xml",
                                   std::filesystem::file_time_type::clock::now() - std::chrono::hours(999));
  const auto before = delegate->albumData().albumDataReadDate();
  EXPECT_EQ(delegate->changedLibraryPath(another.path()), "");
  EXPECT_EQ(delegate->albumData().containerDicts().size(), 1u);
  EXPECT_GE(delegate->albumData().albumDataReadDate()->seconds, before->seconds);
}

TEST_F(MXPAppDelegateTest, saysHowToChooseALibraryIfTheFolderIsMissing) {
  defaults.setString("LibraryPath", "/nowhere");
  launched();
  EXPECT_TRUE(view.contains(
      "Info: Cannot serve '/nowhere'. There is no such folder. To serve another folder, choose it in the "
      "window of MoxtelServer, or set it with -LibraryPath, for the service in "
      "/etc/default/moxtelserverd."));
}

TEST_F(MXPAppDelegateTest, namesTheLibraryAroundAFolderInsideIt) {
  library.insert("RKFolder",
                 Dictionary{{"uuid", "p"}, {"folderType", 2}, {"isInTrash", 0}, {"maxImageDate", 490007103}});
  for (int i = 0; i < 12; ++i)
    library.insert("RKVersion", Dictionary{{"showInLibrary", 1}, {"isInTrash", 0}, {"versionNumber", 1}});
  defaults.setString("LibraryPath", library.path() + "/Database");
  launched();
  EXPECT_TRUE(view.contains("Info: Cannot serve '" + library.path() +
                            "/Database'. This folder is not a photo library. Choose the folder named like "
                            "\"iPhoto Library\", not the "
                            "disk or a folder inside it. The library is '" +
                            library.path() +
                            "' (12 photos, newest 2016-07-12). To serve another folder, choose it in the "
                            "window of MoxtelServer, or "
                            "set it with -LibraryPath, for the service in /etc/default/moxtelserverd."));
}

TEST_F(MXPAppDelegateTest, namesTheLibrariesOnADisk) {
  const std::string disk = std::filesystem::path(library.path()).parent_path().string();
  std::filesystem::copy(library.path(), disk + "/A copy", std::filesystem::copy_options::recursive);
  defaults.setString("LibraryPath", disk);
  launched();
  const auto line = std::find_if(view.lines.begin(), view.lines.end(), [](const std::string& each) {
    return each.find("Cannot serve") != std::string::npos;
  });
  ASSERT_NE(line, view.lines.end());
  EXPECT_NE(line->find(" There are 2 libraries in it: '" + disk + "/A copy' (0 photos), '" + disk +
                       "/Library' (0 photos). To "),
            std::string::npos)
      << *line;
}

TEST_F(MXPAppDelegateTest, servesAFolderWithSlashesAtTheEndWithoutThem) {
  launched();
  EXPECT_EQ(delegate->changedLibraryPath(library.path() + "//"), "");
  EXPECT_EQ(delegate->status().libraryPath, library.path());
  EXPECT_EQ(defaults.stringForKey("LibraryPath"), library.path());
}

TEST_F(MXPAppDelegateTest, findsALibraryByARelativePath) {
  launched();
  const std::string relative = std::filesystem::relative(library.path()).string();
  EXPECT_NE(delegate->changedLibraryPath(relative), "");
  const auto found = delegate->librariesNear(relative);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].path, library.path());
}

TEST_F(MXPAppDelegateTest, saysHowToChooseALibraryIfNoneIsSet) {
  defaults.remove("LibraryPath");
  launched();
  EXPECT_TRUE(
      view.contains("Info: No library is served yet: choose its folder in the window of MoxtelServer, "
                    "or set it with -LibraryPath, for the service in /etc/default/moxtelserverd."));
}

TEST_F(MXPAppDelegateTest, saysNothingAboutChoosingWithAReadableLibrary) {
  launched();
  for (const std::string& line : view.lines) EXPECT_EQ(line.find("-LibraryPath"), std::string::npos) << line;
}

// As when a disk is removed and mounted again.
TEST_F(MXPAppDelegateTest, noticesThatTheLibraryIsRemovedAndRestored) {
  library.insert(
      "RKFolder",
      Dictionary{
          {"uuid", "p"}, {"parentFolderUuid", "AllProjectsItem"}, {"folderType", 2}, {"isInTrash", 0}});
  launched();
  EXPECT_EQ(delegate->status().counts.events, 1);
  const std::string away = library.path() + " unplugged";
  std::filesystem::rename(library.path(), away);
  EXPECT_EQ(delegate->status().libraryProblem, "There is no such folder.");
  EXPECT_EQ(delegate->status().counts, LibraryCounts());
  std::filesystem::rename(away, library.path());
  EXPECT_EQ(delegate->status().libraryProblem, "");
  EXPECT_EQ(delegate->status().counts.events, 1);
}

TEST_F(MXPAppDelegateTest, statusNamesNoDatabaseThatIsThereAgain) {
  const std::string faces = library.pathOf(DatabaseFile::Faces);
  std::filesystem::rename(faces, faces + " away");
  launched();
  EXPECT_EQ(delegate->status().databaseName, "Faces.db");
  std::filesystem::rename(faces + " away", faces);
  EXPECT_EQ(delegate->status().databaseName, "");
  EXPECT_EQ(delegate->status().databaseProblem, DatabaseProblem());
}

TEST_F(MXPAppDelegateTest, statusNamesADamagedDatabase) {
  library.overwrite(DatabaseFile::Faces, std::string(5000, 'x'));
  launched();
  const ServerStatus status = delegate->status();
  EXPECT_EQ(status.libraryProblem, "");
  EXPECT_EQ(status.databaseName, "Faces.db");
  EXPECT_EQ(status.databaseProblem.kind, DatabaseProblem::Kind::Damaged);
}

TEST_F(MXPAppDelegateTest, countsAgainAfterTheLibraryWasLoadedAgain) {
  launched();
  EXPECT_EQ(delegate->status().counts.events, 0);
  library.insert(
      "RKFolder",
      Dictionary{
          {"uuid", "p"}, {"parentFolderUuid", "AllProjectsItem"}, {"folderType", 2}, {"isInTrash", 0}});
  std::filesystem::last_write_time(library.pathOf(DatabaseFile::Library),
                                   std::filesystem::file_time_type::clock::now() + std::chrono::hours(1));
  EXPECT_EQ(delegate->status().counts.events, 0);
  const Peer peer(delegate->server().port());
  bool counted = false;
  for (int i = 0; i < 500 && !counted; ++i) {
    loop.runPosted();
    counted = delegate->status().counts.events == 1;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_TRUE(counted);
}

TEST_F(MXPAppDelegateTest, terminatesWithoutAsking) {
  launched();
  EXPECT_EQ(delegate->applicationShouldTerminate(), 1);
}

}  // namespace
}  // namespace moxtel
