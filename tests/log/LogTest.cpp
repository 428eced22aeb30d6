#include "log/Log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <thread>

#include "log/QVLog.h"
#include "platform/system/SystemLog.h"
#include "tests/TemporaryFolder.h"
#include "tests/fakes/FakeClock.h"

namespace moxtel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kSeparator = "\n\n---- time goes by, so slowly ... ----\n\n";

class LogTest : public testing::Test {
 protected:
  void SetUp() override {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    defaults_.setString("DebugLogPath", (folder_.path() / "debug").string());
    defaults_.setString("ErrorLogPath", (folder_.path() / "error").string());
    clock_.set({489999903.25});
    setUpLogging(defaults_, clock_);
  }
  void TearDown() override { setDebugLevel(0); }

  std::string file(const char* name) const {
    std::ifstream in(folder_.path() / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  bool exists(const char* name) const { return std::filesystem::exists(folder_.path() / name); }

  const TemporaryFolder folder_;
  UserDefaults defaults_;
  FakeClock clock_;
  const SystemLogCapture system_;
};

TEST_F(LogTest, writesNoDebugMessageAtLevel0) {
  setDebugLevel(0);
  LogDebug("x %d", 1);
  LogDebugC("y\n");
  EXPECT_FALSE(exists("debug"));
  EXPECT_THAT(system_.lines(), IsEmpty());
}

TEST_F(LogTest, doesNotMoveTheTimeOfTheLastMessageAtLevel0) {
  setDebugLevel(1);
  LogDebug("one");
  setDebugLevel(0);
  clock_.advance(0.75);
  LogDebug("unwritten");
  setDebugLevel(1);
  clock_.advance(0.75);
  LogDebug("two");
  EXPECT_NE(file("debug").find("time goes by"), std::string::npos);
}

TEST_F(LogTest, stampsDebugMessagesInTheFileAtLevel1) {
  setDebugLevel(1);
  LogDebug("port %d of '%@'", 4250, "here");
  EXPECT_EQ(file("debug"), "2016-07-12 07:05:03.250 Ulmo2[:] port 4250 of 'here'\n");
  EXPECT_THAT(system_.lines(), IsEmpty());
}

TEST_F(LogTest, separatesMessagesMoreThanASecondApart) {
  setDebugLevel(1);
  LogDebug("one");
  clock_.advance(1.5);
  LogDebug("two");
  EXPECT_EQ(file("debug"), "2016-07-12 07:05:03.250 Ulmo2[:] one\n" + std::string(kSeparator) +
                               "\n2016-07-12 07:05:04.750 Ulmo2[:] two\n");
}

TEST_F(LogTest, doesNotSeparateMessagesUpToASecondApart) {
  setDebugLevel(1);
  LogDebug("one");
  clock_.advance(0.5);
  LogDebug("two");
  clock_.advance(1.0);
  LogDebug("three");
  EXPECT_EQ(file("debug").find("time"), std::string::npos);
}

TEST_F(LogTest, countsThePauseFromEveryMessage) {
  setDebugLevel(1);
  for (int i = 0; i < 5; ++i) {
    LogDebug("again");
    clock_.advance(0.75);
  }
  EXPECT_EQ(file("debug").find("time"), std::string::npos);
}

TEST_F(LogTest, separatesNothingFromAMessageBeforeTheReferenceDate) {
  setDebugLevel(1);
  clock_.set({-5});
  LogDebug("one");
  clock_.advance(60);
  LogDebug("two");
  EXPECT_EQ(file("debug").find("time"), std::string::npos);
}

TEST_F(LogTest, writesEverythingToTheSystemLogAtLevel2) {
  setDebugLevel(2);
  LogDebug("debug %@", "x");
  LogError("error %d", 3);
  clock_.advance(2);
  LogDebugC("c\n");
  EXPECT_THAT(system_.lines(), ElementsAre("debug x", "error 3", kSeparator, "c"));
  EXPECT_FALSE(exists("debug"));
  EXPECT_FALSE(exists("error"));
}

TEST_F(LogTest, cutsTextsOfUntrustedPeers) {
  setDebugLevel(2);
  LogDebug("debug %@", std::string(501, 'x'));
  LogError("error %@", std::string(501, 'y'));
  EXPECT_THAT(system_.lines(),
              ElementsAre("debug " + std::string(500, 'x') + "…", "error " + std::string(500, 'y') + "…"));
}

TEST_F(LogTest, writesDebugToTheSystemLogAndErrorsToTheFileAtANegativeLevel) {
  setDebugLevel(-1);
  LogDebug("debug");
  LogError("error");
  EXPECT_THAT(system_.lines(), ElementsAre("debug"));
  EXPECT_EQ(file("error"), "error\n");
}

TEST_F(LogTest, writesErrorsWithoutAStampToTheFileBelowLevel2) {
  for (const int level : {0, 1}) {
    setDebugLevel(level);
    LogError("bad '%@'", "thing");
    clock_.advance(10);
  }
  EXPECT_EQ(file("error"), "bad 'thing'\nbad 'thing'\n");
  EXPECT_FALSE(exists("debug"));
}

TEST_F(LogTest, doesNotMoveTheTimeOfTheLastMessageByAnError) {
  setDebugLevel(2);
  LogDebug("one");
  clock_.advance(0.75);
  LogError("between");
  clock_.advance(0.75);
  LogDebug("two");
  EXPECT_THAT(system_.lines(), ElementsAre("one", "between", kSeparator, "two"));
}

TEST_F(LogTest, dropsOneNewlineFromTheFormatOfLogDebugCOnly) {
  setDebugLevel(2);
  LogDebugC("one\n");
  LogDebugC("two\n\n");
  LogDebugC("\n");
  LogDebugC("");
  LogDebugC("%@", "kept\n");
  LogDebug("kept\n");
  EXPECT_THAT(system_.lines(), ElementsAre("one", "two\n", "", "", "kept\\x0a", "kept\n"));
}

TEST_F(LogTest, saysOnceThatThereIsNoDebugLog) {
  UserDefaults none;
  setUpLogging(none, clock_);
  setDebugLevel(1);
  LogDebug("one");
  LogDebug("two");
  EXPECT_THAT(system_.lines(), ElementsAre("QVLog initWithPathname '(null)' failed"));
  setUpLogging(defaults_, clock_);
}

TEST_F(LogTest, acceptsMessagesFromManyThreads) {
  setDebugLevel(1);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([] {
      for (int i = 0; i < 100; ++i) {
        LogDebug("debug");
        LogError("error");
      }
    });
  }
  for (auto& thread : threads) thread.join();
  const std::string errors = file("error");
  EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 400);
  const std::string debug = file("debug");
  EXPECT_EQ(std::count(debug.begin(), debug.end(), '\n'), 400);
}

}  // namespace
}  // namespace moxtel
