#include "commands/EditingCommands.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <limits>

#include "commands/LibraryCommandScope.h"
#include "library/PhotoRecords.h"
#include "library/albumdata/AlbumData.h"
#include "scripting/ScriptQueue.h"
#include "support/QVAppSupport.h"
#include "tests/fakes/FakeRunningApplications.h"
#include "tests/fakes/RecordingPhotoApplication.h"
#include "tests/fakes/RecordingReplyChannel.h"
#include "tests/fakes/RecordingScriptRunner.h"
#include "tests/library/ServedLibrary.h"

namespace moxtel::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr std::string_view kHostile = "x\" of me\ndo shell script \"id";
constexpr const char* kRevealPhotoScript =
    "tell application \"Aperture\"\nreveal image version id \"key\"\nend tell";

class EditingCommandsTest : public testing::Test {
 protected:
  EditingCommandsTest() {
    served.defaults.registerDefaults(Dictionary{{"RevealPhoto", true}});
    files.insert("RKVersion", Dictionary{{"modelId", 7}, {"uuid", "key"}, {"isInTrash", 0}});
    commands.addTo(handler);
    served.messages.lines.clear();
  }

  // Runs one command and the scripts that it queues; returns the envelopes.
  std::vector<Value> ask(const char* command, Dictionary request = Dictionary()) {
    channel.envelopes.clear();
    request.set("command", command);
    handler.handleCommandDict(request);
    EXPECT_THAT(runner.scripts, IsEmpty()) << "the reply is sent before any script runs";
    served.loop.runPosted();
    return channel.envelopes;
  }
  static Value result(const char* text) { return Dictionary{{"result", text}}; }
  static Value error(const char* text) { return Dictionary{{"error", text}}; }
  static Dictionary position(Value latitude, Value longitude, Value key = "key") {
    return Dictionary{
        {"key", std::move(key)}, {"latitude", std::move(latitude)}, {"longitude", std::move(longitude)}};
  }
  void preferAperture() { served.location.preferAperture = true; }

  TestLibrary files;
  ServedLibrary served{files.path()};
  AlbumData albumData{served.location, served.files, served.messages};
  RecordingPhotoApplication application;
  PhotoRecords photos{served.databases, albumData, application};
  FakeRunningApplications applications;
  QVAppSupport support{served.processes, "/nowhere", "14.0.0"};
  RecordingScriptRunner runner;
  ScriptQueue queue{served.loop, runner, served.messages, served.flags, applications, support};
  std::atomic<bool> edited{false};
  EditingCommands commands{served.location, photos,         queue,        served.messages,
                           served.defaults, served.library, served.flags, edited};
  RecordingReplyChannel channel;
  LibraryCommandScope scope{served.databases};
  CommandHandler handler{served.loop, channel, scope, {1, 4}};
};

TEST_F(EditingCommandsTest, revealsAPhotoInAperture) {
  preferAperture();
  EXPECT_THAT(ask("Reveal Photo", {{"key", "key"}}), ElementsAre(result("Revealed Photo")));
  EXPECT_THAT(runner.scripts, ElementsAre(kRevealPhotoScript));
  EXPECT_FALSE(edited);
}

TEST_F(EditingCommandsTest, revealsAnyKeyWithoutLookingItUp) {
  preferAperture();
  EXPECT_THAT(ask("Reveal Photo", {{"key", "100%@"}}), ElementsAre(result("Revealed Photo")));
  EXPECT_THAT(runner.scripts,
              ElementsAre("tell application \"Aperture\"\nreveal image version id \"100%@\"\nend tell"));
}

TEST_F(EditingCommandsTest, revealsNothingWithoutTheUsersPermission) {
  preferAperture();
  served.defaults.setBool("RevealPhoto", false);
  EXPECT_THAT(ask("Reveal Photo", {{"key", "key"}}), ElementsAre(result("Don't want to reveal photo")));
  EXPECT_THAT(ask("Reveal Photo"), ElementsAre(result("Don't want to reveal photo")));
  EXPECT_THAT(ask("Reveal Album", {{"id", "a"}}), ElementsAre(result("Don't want to reveal anything")));
  EXPECT_THAT(ask("Reveal Event", {{"id", "a"}}), ElementsAre(result("Don't want to reveal anything")));
  EXPECT_THAT(runner.scripts, IsEmpty());
}

TEST_F(EditingCommandsTest, revealsNoPhotoWithoutAKey) {
  EXPECT_THAT(ask("Reveal Photo"), ElementsAre(error("No Image")));
  EXPECT_THAT(ask("Reveal Photo", {{"key", ""}}), ElementsAre(error("No Image")));
  EXPECT_THAT(runner.scripts, IsEmpty());
}

TEST_F(EditingCommandsTest, doesNotRevealInIPhoto) {
  EXPECT_THAT(ask("Reveal Photo", {{"key", "k%d"}}), ElementsAre(result("Can not reveal version id 'k%d'")));
  EXPECT_THAT(ask("Reveal Album", {{"id", "a"}}), ElementsAre(result("Can not reveal album")));
  EXPECT_THAT(ask("Reveal Event", {{"id", "a"}}), ElementsAre(result("Can not reveal album")));
  preferAperture();
  served.flags.connectedWithIPhoto = true;
  EXPECT_THAT(ask("Reveal Photo", {{"key", "key"}}), ElementsAre(result("Can not reveal version id 'key'")));
  EXPECT_THAT(ask("Reveal Album", {{"id", "a"}}), ElementsAre(result("Can not reveal album")));
  EXPECT_THAT(runner.scripts, IsEmpty());
}

TEST_F(EditingCommandsTest, revealsAlbumsAndEvents) {
  preferAperture();
  EXPECT_THAT(ask("Reveal Album", {{"id", "a"}}), ElementsAre(result("Revealed Album")));
  EXPECT_THAT(runner.scripts, ElementsAre("tell application \"Aperture\"\nreveal album id \"a\"\nend tell"));
  runner.scripts.clear();
  EXPECT_THAT(ask("Reveal Event", {{"id", "e"}}), ElementsAre(result("Revealed Album")));
  EXPECT_THAT(runner.scripts,
              ElementsAre("tell application \"Aperture\"\nreveal project id \"e\"\nend tell"));
}

TEST_F(EditingCommandsTest, doesNotCheckTheIdOfAnAlbum) {
  preferAperture();
  EXPECT_THAT(ask("Reveal Album"), ElementsAre(result("Revealed Album")));
  EXPECT_THAT(runner.scripts,
              ElementsAre("tell application \"Aperture\"\nreveal album id \"(null)\"\nend tell"));
}

TEST_F(EditingCommandsTest, setsAPositionInIPhoto) {
  served.flags.connectedWithIPhoto = true;
  applications.set({"iPhoto"});
  EXPECT_THAT(ask("Set GPS of Photo", position(48.5, -11.25)),
              ElementsAre(result("Set GPS to 48.500000/-11.250000")));
  EXPECT_THAT(
      runner.scripts,
      ElementsAre("tell application \"iPhoto\"\nset aPhoto to photo id 4294967303\nset latitude of aPhoto to "
                  "48.500000\nset longitude of aPhoto to -11.250000\nignoring application responses\nreverse "
                  "geocode aPhoto\nend ignoring\nend tell"));
  EXPECT_THAT(served.messages.lines, ElementsAre(Pair("Info", "Set geotag of photo 'key' (index 7)")));
  EXPECT_TRUE(edited);
}

TEST_F(EditingCommandsTest, setsAPositionInAperture) {
  served.flags.connectedWithAperture = true;
  EXPECT_THAT(ask("Set GPS of Photo", position(0, 0)), ElementsAre(result("Set GPS to 0.000000/0.000000")));
  EXPECT_THAT(
      runner.scripts,
      ElementsAre("tell application \"Aperture\"\nset aPhoto to image version id \"key\"\nset latitude of "
                  "aPhoto to 0.000000\nset longitude of aPhoto to 0.000000\nend tell"));
  EXPECT_THAT(served.messages.lines, ElementsAre(Pair("Info", "Set geotag of photo 'key' (index 7)")));
}

TEST_F(EditingCommandsTest, setsInBothApplicationsButClearsOnlyInAperture) {
  served.flags.connectedWithIPhoto = true;
  served.flags.connectedWithAperture = true;
  static_cast<void>(ask("Set GPS of Photo", position(1, 2)));
  ASSERT_EQ(runner.scripts.size(), 2u);
  EXPECT_TRUE(runner.scripts[0].starts_with("tell application \"iPhoto\"\n"));
  EXPECT_TRUE(runner.scripts[1].starts_with("tell application \"Aperture\"\n"));
  runner.scripts.clear();
  EXPECT_THAT(ask("Clear GPS of Photo", {{"key", "key"}}), ElementsAre(result("Cleared GPS")));
  EXPECT_THAT(
      runner.scripts,
      ElementsAre(
          "tell application \"Aperture\"\n\tset aPhoto to image version id \"key\"\n\tset latitude of "
          "aPhoto to 340282346638528859811704183484516925440.000000\n\tset longitude of aPhoto to "
          "340282346638528859811704183484516925440.000000\nend tell"));
}

TEST_F(EditingCommandsTest, clearsAPositionInIPhoto) {
  served.flags.connectedWithIPhoto = true;
  EXPECT_THAT(ask("Clear GPS of Photo", {{"key", "key"}}), ElementsAre(result("Cleared GPS")));
  EXPECT_THAT(
      runner.scripts,
      ElementsAre(
          "tell application \"iPhoto\"\n\tset aPhoto to photo id 4294967303\n\tset latitude of aPhoto "
          "to 340282346638528859811704183484516925440.000000\n\tset longitude of aPhoto to "
          "340282346638528859811704183484516925440.000000\n\tignoring application "
          "responses\n\t\treverse geocode aPhoto\n\tend ignoring\nend tell"));
  EXPECT_THAT(served.messages.lines, ElementsAre(Pair("Info", "Cleared geotag of photo 'key' (index 7)")));
  EXPECT_TRUE(edited);
}

TEST_F(EditingCommandsTest, answersTheSameWhenNoApplicationRuns) {
  const SystemLogCapture log;
  EXPECT_THAT(ask("Set GPS of Photo", position(1, 2)), ElementsAre(result("Set GPS to 1.000000/2.000000")));
  EXPECT_THAT(served.messages.lines, ElementsAre(Pair("Info", "Set geotag of photo 'key' (index 7)")));
  EXPECT_TRUE(log.contains("!ConnectedWithIPhoto: forceIPhotoStart"));
  EXPECT_TRUE(edited);
  edited = false;
  EXPECT_THAT(ask("Clear GPS of Photo", {{"key", "key"}}), ElementsAre(result("Cleared GPS")));
  EXPECT_TRUE(edited);
  EXPECT_THAT(runner.scripts, IsEmpty());
}

// The flag is set, but the process has ended since the last check.
TEST_F(EditingCommandsTest, startsIPhotoBeforeSettingWhenItHasJustEnded) {
  served.flags.connectedWithIPhoto = true;
  static_cast<void>(ask("Set GPS of Photo", position(1, 2)));
  ASSERT_EQ(runner.scripts.size(), 2u);
  EXPECT_EQ(runner.scripts[0], "tell application \"iPhoto\"\n  activate\nend tell\n\n");
  EXPECT_THAT(served.messages.lines,
              ElementsAre(Pair("Info", "Starting iPhoto..."), Pair("Info", "Started iPhoto"),
                          Pair("Info", "Set geotag of photo 'key' (index 7)")));
  runner.scripts.clear();
  static_cast<void>(ask("Clear GPS of Photo", {{"key", "key"}}));
  EXPECT_EQ(runner.scripts.size(), 1u) << "clearing starts nothing";
}

TEST_F(EditingCommandsTest, startsNothingWhileApertureRuns) {
  served.flags.connectedWithAperture = true;
  const SystemLogCapture log;
  static_cast<void>(ask("Set GPS of Photo", position(1, 2)));
  EXPECT_FALSE(log.contains("!ConnectedWithIPhoto: forceIPhotoStart"));
}

TEST_F(EditingCommandsTest, looksForIPhotoBeforeClearingUnlessApertureIsPreferred) {
  static_cast<void>(ask("Clear GPS of Photo", {{"key", "key"}}));
  EXPECT_EQ(applications.asked(), 1);
  preferAperture();
  static_cast<void>(ask("Clear GPS of Photo", {{"key", "key"}}));
  EXPECT_EQ(applications.asked(), 1);
}

TEST_F(EditingCommandsTest, rejectsIncompletePositions) {
  served.flags.connectedWithIPhoto = true;
  const Value bad = error("Bad data for GPS");
  EXPECT_THAT(ask("Set GPS of Photo"), ElementsAre(bad));
  EXPECT_THAT(ask("Set GPS of Photo", {{"key", "key"}, {"latitude", 1}}), ElementsAre(bad));
  EXPECT_THAT(ask("Set GPS of Photo", {{"key", "key"}, {"longitude", 1}}), ElementsAre(bad));
  EXPECT_THAT(ask("Set GPS of Photo", {{"latitude", 1}, {"longitude", 1}}), ElementsAre(bad));
  EXPECT_THAT(ask("Set GPS of Photo", position(1, 2, "")), ElementsAre(bad));
  EXPECT_THAT(runner.scripts, IsEmpty());
  EXPECT_THAT(served.messages.lines, IsEmpty());
  EXPECT_FALSE(edited);
}

TEST_F(EditingCommandsTest, clearingWithoutAKeyAnswersTwice) {
  EXPECT_THAT(ask("Clear GPS of Photo"), ElementsAre(error("No Image"), result("Cleared GPS")));
  EXPECT_THAT(ask("Clear GPS of Photo", {{"key", ""}}),
              ElementsAre(error("No Image"), result("Cleared GPS")));
  EXPECT_THAT(served.messages.lines, ElementsAre(Pair("Info", "Cleared geotag of photo '(null)' (index 0)"),
                                                 Pair("Info", "Cleared geotag of photo '' (index 0)")));
  EXPECT_TRUE(edited);
}

TEST_F(EditingCommandsTest, anUnknownPhotoIsAddressedByTheBareOffset) {
  served.flags.connectedWithIPhoto = true;
  applications.set({"iPhoto"});
  static_cast<void>(ask("Set GPS of Photo", position(1, 2, "nobody")));
  ASSERT_EQ(runner.scripts.size(), 1u);
  EXPECT_NE(runner.scripts[0].find("photo id 4294967296\n"), std::string::npos);
  EXPECT_THAT(served.messages.lines, ElementsAre(Pair("Info", "Set geotag of photo 'nobody' (index 0)")));
}

TEST_F(EditingCommandsTest, printsNanInfinityAndLargeNumbers) {
  served.flags.connectedWithIPhoto = true;
  applications.set({"iPhoto"});
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_THAT(ask("Set GPS of Photo", position(std::numeric_limits<double>::quiet_NaN(), -infinity)),
              ElementsAre(result("Set GPS to nan/-inf")));
  ASSERT_EQ(runner.scripts.size(), 1u);
  EXPECT_NE(runner.scripts[0].find("set latitude of aPhoto to nan\nset longitude of aPhoto to -inf\n"),
            std::string::npos);
  runner.scripts.clear();
  const std::string big = format("%lf", 1e308);
  EXPECT_EQ(big.size(), 316u);
  EXPECT_THAT(ask("Set GPS of Photo", position(1e308, true)),
              ElementsAre(result(("Set GPS to " + big + "/1.000000").c_str())));
}

TEST_F(EditingCommandsTest, textsAreReadAsNumbers) {
  served.flags.connectedWithIPhoto = true;
  applications.set({"iPhoto"});
  EXPECT_THAT(ask("Set GPS of Photo", position("48.5 north", kHostile)),
              ElementsAre(result("Set GPS to 48.500000/0.000000")));
  ASSERT_EQ(runner.scripts.size(), 1u);
  EXPECT_EQ(runner.scripts[0].find("shell"), std::string::npos);
  EXPECT_EQ(runner.scripts[0].find("north"), std::string::npos);
}

// The null object decodes to a nil entry.
TEST_F(EditingCommandsTest, repliesNothingToPositionsOfAWrongType) {
  served.flags.connectedWithIPhoto = true;
  for (const Value& wrong :
       {Value(), Value(Array{1}), Value(Dictionary{{"a", 1}}), Value(Bytes{1}), Value(Date{1})}) {
    EXPECT_THROW(ask("Set GPS of Photo", position(wrong, 1)), BadRequestError);
    EXPECT_THROW(ask("Set GPS of Photo", position(1, wrong)), BadRequestError);
    EXPECT_THAT(channel.envelopes, IsEmpty());
    EXPECT_THAT(ask("Set GPS of Photo", position(wrong, 1, "")), ElementsAre(error("Bad data for GPS")));
    EXPECT_THAT(ask("Set GPS of Photo", {{"key", "key"}, {"latitude", wrong}}),
                ElementsAre(error("Bad data for GPS")));
  }
  EXPECT_THAT(runner.scripts, IsEmpty());
  EXPECT_FALSE(edited);
}

TEST_F(EditingCommandsTest, hostileTextsRunNoScriptAndAreReported) {
  preferAperture();
  for (const std::string_view text :
       {kHostile, std::string_view("\\"), std::string_view("a\0b", 3), std::string_view("\r")}) {
    served.messages.lines.clear();
    served.flags.connectedWithAperture = true;
    EXPECT_THAT(ask("Reveal Photo", {{"key", text}}), ElementsAre(result("Revealed Photo")));
    EXPECT_THAT(ask("Reveal Album", {{"id", text}}), ElementsAre(result("Revealed Album")));
    EXPECT_THAT(ask("Reveal Event", {{"id", text}}), ElementsAre(result("Revealed Album")));
    EXPECT_THAT(ask("Set GPS of Photo", position(1, 2, text)),
                ElementsAre(result("Set GPS to 1.000000/2.000000")));
    EXPECT_THAT(ask("Clear GPS of Photo", {{"key", text}}), ElementsAre(result("Cleared GPS")));
    EXPECT_EQ(served.messages.count("Error", "Refused to send '"), 5);
    EXPECT_EQ(served.messages.count("Info", "geotag of photo"), 2)
        << "the extra line comes beside the usual one";
  }
  EXPECT_THAT(runner.scripts, IsEmpty());
}

TEST_F(EditingCommandsTest, anIdThatIsAListRunsNoScript) {
  preferAperture();
  EXPECT_THAT(ask("Reveal Album", {{"id", Array{"a", "b"}}}), ElementsAre(result("Revealed Album")));
  EXPECT_THAT(runner.scripts, IsEmpty());
}

TEST_F(EditingCommandsTest, aLibraryOfIPhoto08IsNotTagged) {
  commands.legacyIPhoto = true;
  served.flags.connectedWithIPhoto = true;
  applications.set({"iPhoto"});
  EXPECT_THAT(ask("Set GPS of Photo", position(1, 2)), ElementsAre(result("Set GPS to 1.000000/2.000000")));
  EXPECT_THAT(ask("Clear GPS of Photo", {{"key", "key"}}), ElementsAre(result("Cleared GPS")));
  EXPECT_THAT(served.messages.lines, ElementsAre(Pair("Error", "Can not tag photo in iPhoto '08"),
                                                 Pair("Error", "Can not tag photo in iPhoto '08")));
  EXPECT_THAT(runner.scripts, IsEmpty());
  EXPECT_FALSE(edited);
}

TEST_F(EditingCommandsTest, theApplicationCanWriteWhileItsScriptRuns) {
  OtherProcess other(files.pathOf(DatabaseFile::Library));
  served.flags.connectedWithIPhoto = true;
  applications.set({"iPhoto"});
  bool canWrite = false;
  runner.answer = [&](const std::string&) {
    canWrite = other.canWrite();
    return ScriptOutcome::success(Value());
  };
  static_cast<void>(ask("Set GPS of Photo", position(1, 2)));
  EXPECT_TRUE(canWrite);
}

// An id of ours plus the offset would be a foreign photo in iPhoto.
TEST_F(EditingCommandsTest, runsNoScriptForALibraryThatTheApplicationsDoNotKnow) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder.path() / "database");
  std::ofstream(folder.path() / "database/Photos.sqlite") << "";
  served.databases.useLibrary(folder.path().string());
  applications.set({"iPhoto"});
  served.flags.connectedWithIPhoto = true;
  EXPECT_THAT(ask("Set GPS of Photo", position(1.5, 2.5)),
              ElementsAre(result("Set GPS to 1.500000/2.500000")));
  EXPECT_THAT(ask("Clear GPS of Photo", {{"key", "key"}}), ElementsAre(result("Cleared GPS")));
  served.flags.connectedWithIPhoto = false;
  preferAperture();
  EXPECT_THAT(ask("Reveal Photo", {{"key", "key"}}), ElementsAre(result("Can not reveal version id 'key'")));
  EXPECT_THAT(ask("Reveal Album", {{"uuid", "x"}}), ElementsAre(result("Can not reveal album")));
  EXPECT_THAT(runner.scripts, IsEmpty());
  EXPECT_FALSE(edited);
  EXPECT_EQ(served.messages.count("Info", "The position of photo 'key' was not changed"), 2);
}

}  // namespace
}  // namespace moxtel::test
