#include "scripting/ScriptQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "platform/applications/ScriptInterpreters.h"
#include "support/QVAppSupport.h"
#include "tests/fakes/FakeProcessRunner.h"
#include "tests/fakes/FakeRunningApplications.h"
#include "tests/fakes/RecordingScriptRunner.h"
#include "tests/library/ServedLibrary.h"

namespace moxtel::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr const char* kStart = "tell application \"iPhoto\"\n  activate\nend tell\n\n";

class ScriptQueueTest : public testing::Test {
 protected:
  SystemLogCapture log;
  FakeEventLoop loop;
  UserDefaults defaults;
  NoProcesses processes;
  RecordingMessages messages;
  PhotoApplicationFlags flags;
  FakeRunningApplications applications;
  QVAppSupport support{processes, "/nowhere", "14.0.0"};
  RecordingScriptRunner runner;
  ScriptQueue queue{loop, runner, messages, flags, applications, support};
};

TEST_F(ScriptQueueTest, runsScriptsInTheOrderInWhichTheyCame) {
  queue.performCachedApplescript("A");
  queue.performCachedApplescript("B");
  queue.performCachedApplescript("C");
  EXPECT_THAT(runner.scripts, IsEmpty()) << "before the next turn of the loop";
  loop.runPosted();
  EXPECT_THAT(runner.scripts, ElementsAre("A", "B", "C"));
}

TEST_F(ScriptQueueTest, drainsInOneRun) {
  queue.performCachedApplescript("A");
  queue.performCachedApplescript("B");
  queue.performCachedApplescripts();
  EXPECT_THAT(runner.scripts, ElementsAre("A", "B"));
  loop.runPosted();
  EXPECT_EQ(runner.scripts.size(), 2u) << "the scheduled runs find nothing";
  EXPECT_EQ(runner.commands, 2) << "each script is a command of its own";
}

TEST_F(ScriptQueueTest, runsTheNextScriptAfterOneThatTimedOut) {
  FakeProcessRunner interpreter([](const ProcessRequest& request) {
    if (request.input == "good") return FakeProcessRunner::printing("");
    ProcessResult result;
    result.ending = ProcessResult::Ending::TimedOut;
    return result;
  });
  InterpreterScriptRunner real({"osascript"}, interpreter);
  ScriptQueue other{loop, real, messages, flags, applications, support};
  other.performCachedApplescript("hangs");
  other.performCachedApplescript("good");
  loop.runPosted();
  ASSERT_EQ(interpreter.requests().size(), 2u);
  EXPECT_EQ(interpreter.requests()[1].input, "good");
  EXPECT_EQ(messages.lines.size(), 1u) << "only the first one was not done";
}

TEST_F(ScriptQueueTest, runsWhatComesInWhileItRuns) {
  runner.answer = [this](const std::string& source) {
    if (source == "A") queue.performCachedApplescript("B");
    return ScriptOutcome::success(Value());
  };
  queue.performCachedApplescript("A");
  queue.performCachedApplescripts();
  EXPECT_THAT(runner.scripts, ElementsAre("A", "B"));
}

TEST_F(ScriptQueueTest, ignoresAMissingText) {
  queue.performCachedApplescript(std::nullopt);
  EXPECT_EQ(loop.posted(), 0u);
  loop.runPosted();
  EXPECT_THAT(runner.scripts, IsEmpty());
}

TEST_F(ScriptQueueTest, runsAnEmptyTextForItIsNotMissing) {
  queue.performCachedApplescript("");
  loop.runPosted();
  EXPECT_THAT(runner.scripts, ElementsAre(""));
}

TEST_F(ScriptQueueTest, logsAFailedScriptTwiceAndGoesOn) {
  runner.answer = [](const std::string& source) {
    return source == "bad" ? ScriptOutcome::failed(-2741, "Expected end of line")
                           : ScriptOutcome::success(Value());
  };
  queue.performCachedApplescript("bad");
  queue.performCachedApplescript("good");
  loop.runPosted();
  EXPECT_THAT(runner.scripts, ElementsAre("bad", "good"));
  const std::string error =
      "{\n    NSAppleScriptErrorMessage = \"Expected end of line\";\n    NSAppleScriptErrorNumber = "
      "-2741;\n}";
  EXPECT_THAT(
      log.lines(),
      ElementsAre("AppleScript did not compile: \n------------------\nbad\n-----------\n\nError: " + error,
                  "executed AppleScript, eventDesc: (null), errorDict: " + error));
}

TEST_F(ScriptQueueTest, reportsWhatWasNotDoneWithoutAnInterpreter) {
  runner.fails();
  queue.performCachedApplescript("A");
  loop.runPosted();
  EXPECT_THAT(messages.lines, IsEmpty()) << "any other failure is for the log alone";
  runner.answer = [](const std::string& source) { return NoScriptRunner().run(source); };
  const SystemLogCapture afterwards;
  queue.performCachedApplescript("A");
  loop.runPosted();
  EXPECT_THAT(afterwards.lines(), IsEmpty());
  EXPECT_THAT(messages.lines, ElementsAre(Pair("Error",
                                               "Not done in the photo application: There is no AppleScript "
                                               "interpreter on this machine")));
}

TEST_F(ScriptQueueTest, reportsWhatAnInterpreterThatTimedOutDidNotDo) {
  runner.answer = [](const std::string& source) {
    return ScriptOutcome::failed(-1, source,
                                 source == "A" ? ScriptFailure::Unusable : ScriptFailure::NotTried);
  };
  queue.performCachedApplescript("A");
  queue.performCachedApplescript("B");
  loop.runPosted();
  EXPECT_THAT(messages.lines, ElementsAre(Pair("Error", "Not done in the photo application: A"),
                                          Pair("Error", "Not done in the photo application: B")));
}

TEST_F(ScriptQueueTest, givesEachScriptItsOwnTime) {
  runner.limit = std::chrono::seconds(1);
  queue.performCachedApplescript("A");
  loop.runPosted();
  EXPECT_EQ(runner.limit, std::nullopt);
}

TEST_F(ScriptQueueTest, logsNothingOfAScriptThatSucceeds) {
  runner.answers("anything");
  queue.performCachedApplescript("good");
  loop.runPosted();
  EXPECT_THAT(log.lines(), IsEmpty());
}

// The addresses of a local variable in each run show the depth of the stack.
TEST_F(ScriptQueueTest, aThousandScriptsDoNotDeepenTheStack) {
  std::vector<const char*> places;
  runner.answer = [&places](const std::string&) {
    const char here = 0;
    const char* place = &here;
    places.push_back(place);
    return ScriptOutcome::failed(1, "x");
  };
  for (int i = 0; i < 1000; ++i) queue.performCachedApplescript("script " + std::to_string(i));
  loop.runPosted();
  ASSERT_EQ(places.size(), 1000u);
  EXPECT_EQ(runner.scripts[999], "script 999");
  EXPECT_LT(std::abs(places[999] - places[1]), 64);
}

TEST_F(ScriptQueueTest, takesScriptsFromManyThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this] {
      for (int j = 0; j < 100; ++j) queue.performCachedApplescript("x");
    });
  }
  for (auto& thread : threads) thread.join();
  loop.runPosted();
  EXPECT_EQ(runner.scripts.size(), 400u);
}

TEST_F(ScriptQueueTest, doesNotHoldTheLockWhileAScriptRuns) {
  runner.answer = [this](const std::string& source) {
    if (source == "A") std::thread([this] { queue.performCachedApplescript("B"); }).join();
    return ScriptOutcome::success(Value());
  };
  queue.performCachedApplescript("A");
  loop.runPosted();
  EXPECT_THAT(runner.scripts, ElementsAre("A", "B"));
}

TEST_F(ScriptQueueTest, startsIPhotoOnlyWhenItIsKnownToRun) {
  queue.forceIPhotoStart();
  EXPECT_THAT(log.lines(), ElementsAre("!ConnectedWithIPhoto: forceIPhotoStart"));
  EXPECT_THAT(messages.lines, IsEmpty());
  EXPECT_EQ(loop.posted(), 0u);
  flags.connectedWithIPhoto = true;
  queue.forceIPhotoStart();
  EXPECT_THAT(messages.lines,
              ElementsAre(Pair("Info", "Starting iPhoto..."), Pair("Info", "Started iPhoto")));
  EXPECT_THAT(runner.scripts, IsEmpty()) << "the lines follow the queueing";
  loop.runPosted();
  EXPECT_THAT(runner.scripts, ElementsAre(kStart));
}

TEST_F(ScriptQueueTest, makesIPhotoWriteOnlyWhenItIsKnownToRun) {
  queue.forceIPhotoWrite();
  EXPECT_THAT(log.lines(), ElementsAre("!ConnectedWithIPhoto: forceIPhotoWrite"));
  EXPECT_THAT(messages.lines, IsEmpty());
  flags.connectedWithIPhoto = true;
  queue.forceIPhotoWrite();
  loop.runPosted();
  EXPECT_THAT(messages.lines, ElementsAre(Pair("Info", "Reload iPhoto's data")));
  EXPECT_THAT(runner.scripts,
              ElementsAre("set aTempName to \"_MoxtelServer_\"\n"
                          "tell application \"System Events\" to set visible of application process "
                          "\"iPhoto\" to false\n"
                          "\n"
                          "tell application \"iPhoto\"\n"
                          "  new album name aTempName\n"
                          "  remove album aTempName\n"
                          "  activate\n"
                          "end tell"));
}

TEST_F(ScriptQueueTest, knowsIPhotoByItsExactNameAlone) {
  EXPECT_FALSE(queue.iPhotoIsRunning());
  applications.set({"Aperture", "iphoto", "iPhoto Helper", "iPhotoX"});
  EXPECT_FALSE(queue.iPhotoIsRunning());
  applications.set({"Aperture", "iPhoto"});
  EXPECT_TRUE(queue.iPhotoIsRunning());
  // Asked of the machine, not of the flag.
  EXPECT_FALSE(flags.connectedWithIPhoto);
}

TEST_F(ScriptQueueTest, whatIsStillQueuedAtTheEndIsDropped) {
  {
    ScriptQueue other{loop, runner, messages, flags, applications, support};
    other.performCachedApplescript("A");
  }
  EXPECT_THAT(runner.scripts, IsEmpty());
}

}  // namespace
}  // namespace moxtel::test
