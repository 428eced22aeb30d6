#include "commands/CommandHandler.h"

#include <random>
#include <thread>

#include "platform/loop/CoreLoop.h"
#include "tests/commands/CommandFixture.h"

namespace moxtel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using CommandHandlerTest = CommandFixture;

Dictionary command(Value name) { return Dictionary{{"command", std::move(name)}}; }

TEST_F(CommandHandlerTest, answersTheVersion) { EXPECT_EQ(reply(command("Get Version")), result("1.4")); }

TEST_F(CommandHandlerTest, repliesAnErrorToAnUnknownCommand) {
  EXPECT_EQ(reply(command("get version")), error("Command 'get version' was not handled"));
  EXPECT_EQ(reply(command("")), error("Command '' was not handled"));
  EXPECT_EQ(reply(command("100%@ %s")), error("Command '100%@ %s' was not handled"));
}

TEST_F(CommandHandlerTest, repliesAnErrorToACommandWithoutAHandler) {
  EXPECT_EQ(reply(command("Thumb of Photo")), error("Command 'Thumb of Photo' was not handled"));
}

TEST_F(CommandHandlerTest, acceptsHandlersOnlyForCommandsOfTheTable) {
  const auto nothing = [](const CommandRequest&, ReplyChannel&) {};
  for (const auto name : kCommandNames) EXPECT_NO_THROW(handler.add(name, nothing));
  EXPECT_THROW(handler.add("Get Everything", nothing), std::invalid_argument);
}

TEST_F(CommandHandlerTest, repliesNothingWithoutACommand) {
  EXPECT_THAT(replies(Dictionary{{"id", 5}}), IsEmpty());
  EXPECT_TRUE(log.contains("Bad commandDict: {\n    id = 5;\n}"));
  EXPECT_THAT(replies(command(Value())), IsEmpty());
  EXPECT_EQ(linesBeginning("Bad commandDict: "), 2u);
}

TEST_F(CommandHandlerTest, boundsTheLogLineOfABadRequest) {
  std::vector<Value> many(4, Value(std::string(3000, 'x')));
  for (int level = 0; level < 5; ++level) many = std::vector<Value>(4, Array(many, Mutability::Immutable));
  EXPECT_THAT(replies(Dictionary{{"id", Array(many, Mutability::Immutable)}}), IsEmpty());
  for (const std::string& line : log.lines()) EXPECT_LT(line.size(), 70'000u);
}

TEST_F(CommandHandlerTest, repliesNothingToBytesThatAreNoArchive) {
  handler.gotDataFromServer(chunk({'x', 'y'}));
  handler.gotDataFromServer(chunk({}));
  EXPECT_THAT(channel.envelopes, IsEmpty());
  EXPECT_EQ(linesBeginning("uncaught exception: could not unarchive the request: "), 2u);
  EXPECT_EQ(log.lines().size(), 2u);
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(CommandHandlerTest, repliesNothingToARequestInTwoChunks) {
  const Bytes whole = archivedData(command("Get Version"));
  const auto middle = whole.begin() + static_cast<std::ptrdiff_t>(whole.size() / 2);
  handler.gotDataFromServer(chunk(Bytes(whole.begin(), middle)));
  handler.gotDataFromServer(chunk(Bytes(middle, whole.end())));
  EXPECT_THAT(channel.envelopes, IsEmpty());
  EXPECT_EQ(linesBeginning("uncaught exception: "), 2u);
}

TEST_F(CommandHandlerTest, repliesNothingToARootThatIsNotADictionary) {
  for (const Value& root : {Value("Get Version"), Value(5), Value(Array{{"command", "Get Version"}})}) {
    EXPECT_THAT(replies(root), IsEmpty());
  }
  EXPECT_EQ(linesBeginning("uncaught exception: the request is not a dictionary"), 3u);
}

TEST_F(CommandHandlerTest, treatsANilRootAsAMissingCommand) {
  EXPECT_THAT(replies(Value()), IsEmpty());
  EXPECT_TRUE(log.contains("Bad commandDict: (null)"));
}

TEST_F(CommandHandlerTest, repliesNothingToACommandThatIsNotText) {
  for (const Value& name : {Value(1), Value(true), Value(Array()), Value(Bytes{1})}) {
    EXPECT_THAT(replies(command(name)), IsEmpty());
  }
  EXPECT_EQ(linesBeginning("uncaught exception: the command of the request is not text"), 4u);
}

TEST_F(CommandHandlerTest, repliesNothingToAKeyThatIsNotText) {
  handler.add("Infos of Photo", [](const CommandRequest& request, ReplyChannel& channel_) {
    channel_.sendToClientResultObject(request.key().isNil() ? Value("no key") : request.key());
  });
  Dictionary infos = command("Infos of Photo");
  EXPECT_EQ(reply(infos), result("no key"));
  infos.set("key", "a%b");
  EXPECT_EQ(reply(infos), result("a%b"));
  for (const Value& key : {Value(1), Value(1.5), Value(false), Value(Dictionary()), Value(Bytes{1})}) {
    infos.set("key", key);
    EXPECT_THAT(replies(infos), IsEmpty());
  }
  EXPECT_EQ(linesBeginning("uncaught exception: the key of the request is not text"), 5u);
}

TEST_F(CommandHandlerTest, decodesEachRequestTwice) {
  int decoded = 0;
  CommandHandler counting(loop, channel, scope, {1, 4}, [&](std::span<const std::uint8_t> bytes) {
    ++decoded;
    return unarchivedObject(bytes);
  });
  counting.gotDataFromServer(chunk(archivedData(command("Get Version"))));
  EXPECT_EQ(decoded, 2);
  EXPECT_THAT(channel.envelopes, ElementsAre(result("1.4")));
}

TEST_F(CommandHandlerTest, logsOnlyAFailureOfTheSecondDecoding) {
  int decoded = 0;
  CommandHandler failing(loop, channel, scope, {1, 4}, [&](std::span<const std::uint8_t> bytes) {
    using Outcome = std::variant<Value, DecodingError>;
    return ++decoded == 2 ? Outcome(DecodingError{"odd"}) : unarchivedObject(bytes);
  });
  failing.gotDataFromServer(chunk(archivedData(command("Get Version"))));
  EXPECT_THAT(channel.envelopes, IsEmpty());
  EXPECT_THAT(log.lines(), ElementsAre("unarchiveObject got exception: odd", "Bad commandDict: (null)"));
}

TEST_F(CommandHandlerTest, logsAnExceptionOfAHandlerAndContinues) {
  handler.add("Get Faces", [](const CommandRequest&, ReplyChannel&) { throw std::runtime_error("broken"); });
  EXPECT_THAT(replies(command("Get Faces")), IsEmpty());
  EXPECT_TRUE(log.contains("uncaught exception: broken"));
  EXPECT_EQ(calls.back(), "release");
  EXPECT_EQ(reply(command("Get Version")), result("1.4"));
}

TEST_F(CommandHandlerTest, repliesAnErrorInsteadOfAReplyThatIsTooLarge) {
  class RecordingScope final : public CommandScope {
   public:
    void beginCommand() override {}
    void releaseLocks() override {}
    void rejectedReply(std::string_view name) override { rejected.emplace_back(name); }
    std::vector<std::string> rejected;
  };
  RecordingScope recording;
  CommandHandler large(loop, channel, recording, {1, 4});
  large.add("Get Albums", [](const CommandRequest&, ReplyChannel&) { throw ArchiveTooLargeError(); });
  large.handleCommandDict(command("Get Albums"));
  EXPECT_THAT(channel.envelopes, ElementsAre(error("Reply too large")));
  EXPECT_THAT(recording.rejected, ElementsAre("Get Albums"));
}

TEST_F(CommandHandlerTest, releasesTheLibraryBeforeEachReplyAndAtTheEnd) {
  handler.add("Data of Photo", [](const CommandRequest&, ReplyChannel& both) {
    both.sendToClientErrorString("No Image");
    both.sendToClientSerializedObject(Dictionary{{"error", "No Image"}});
  });
  EXPECT_EQ(replies(command("Data of Photo")).size(), 2u);
  EXPECT_THAT(calls, ElementsAre("begin", "release", "reply", "release", "reply", "release"));
  calls.clear();
  replies(command("nobody's"));
  EXPECT_THAT(calls, ElementsAre("begin", "release", "reply", "release"));
}

TEST_F(CommandHandlerTest, runsACommandAgainWhenTheLibraryChangedWhileItWasRead) {
  class ChangingScope final : public CommandScope {
   public:
    void beginCommand() override { mustReadAgain_ = true; }
    void releaseLocks() override {}
    bool mustReadAgain() const override { return mustReadAgain_; }
    void beginCommandAgain() override { mustReadAgain_ = false; }

   private:
    bool mustReadAgain_ = false;
  };
  ChangingScope changing;
  CommandHandler again(loop, channel, changing, {1, 4});
  std::int32_t runs = 0;
  again.add("Get Albums",
            [&](const CommandRequest&, ReplyChannel& albums) { albums.sendToClientResultObject(++runs); });
  again.handleCommandDict(command("Get Albums"));
  EXPECT_THAT(channel.envelopes, ElementsAre(result(2)));
}

TEST_F(CommandHandlerTest, survivesAMegabyteOfRandomBytes) {
  std::mt19937 random(20160712);
  for (int i = 0; i < 256; ++i) {
    Bytes bytes(4096);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
    if (i % 2 == 0) std::copy_n("bplist00", 8, bytes.begin());
    handler.gotDataFromServer(chunk(bytes));
  }
  EXPECT_THAT(channel.envelopes, IsEmpty());
  EXPECT_EQ(log.lines().size(), 256u);
}

TEST_F(CommandHandlerTest, runsCommandsOnTheCoreThreadWhileTheReaderWaits) {
  CoreLoop core;
  std::thread::id ranOn;
  std::size_t repliesWhenDone = 0;
  CommandHandler coreHandler(core, channel, scope, {1, 4});
  coreHandler.add("Get Faces", [&](const CommandRequest&, ReplyChannel& faces) {
    ranOn = std::this_thread::get_id();
    faces.sendToClientResultObject("done");
  });
  std::thread reader([&] {
    coreHandler.gotDataFromServer(chunk(archivedData(command("Get Faces"))));
    repliesWhenDone = channel.envelopes.size();
    core.quit();
  });
  core.run();
  reader.join();
  EXPECT_EQ(ranOn, std::this_thread::get_id());
  EXPECT_EQ(repliesWhenDone, 1u);
}

TEST_F(CommandHandlerTest, readsIdsAsUuidsAndAsNumbers) {
  const auto uuid = [](Value id) {
    const Dictionary command_{{"id", std::move(id)}};
    return CommandRequest(command_).uuid();
  };
  EXPECT_EQ(uuid("TopLevelAlbums"), Value("TopLevelAlbums"));
  EXPECT_EQ(uuid(17), Value("17"));
  EXPECT_EQ(uuid(-1), Value("-1"));
  EXPECT_EQ(uuid(1.5), Value("1.5"));
  EXPECT_EQ(uuid(Value()), Value());
  EXPECT_EQ(uuid(Bytes{1}), Value(Bytes{1}));
  EXPECT_EQ(CommandRequest(Dictionary{{"id", " 12 apes"}}).number(), 12);
  EXPECT_EQ(CommandRequest(Dictionary{{"id", 12}}).number(), 12);
  EXPECT_EQ(CommandRequest(Dictionary{{"id", "apes"}}).number(), 0);
  EXPECT_EQ(CommandRequest(Dictionary()).number(), 0);
}

// The look-up would write the id's description, two thousand times its size, to the log and the console.
TEST_F(CommandHandlerTest, repliesNothingToAnIdWithALongDescription) {
  const Array texts(std::vector<Value>(60, Value(std::string(2500, 'x'))), Mutability::Immutable);
  const Array id(std::vector<Value>(60, Value(texts)), Mutability::Immutable);
  const Dictionary request{{"command", "Folders of Album"}, {"id", id}};
  ASSERT_LE(archivedData(request).size(), 4096u);
  EXPECT_THAT(replies(request), IsEmpty());
  EXPECT_TRUE(source.questions.empty());
  EXPECT_TRUE(log.contains("uncaught exception: the description of the id of the request is too long"));
}

TEST_F(CommandHandlerTest, passesAnArrayAsIdToTheLibrary) {
  const Array id{"a", Dictionary{{"b", 1}}};
  EXPECT_EQ(reply(Dictionary{{"command", "Folders of Album"}, {"id", id}}), result(Array()));
  ASSERT_EQ(source.questions.size(), 1u);
  EXPECT_EQ(source.questions[0].second, Value(id));
}

}  // namespace
}  // namespace moxtel
