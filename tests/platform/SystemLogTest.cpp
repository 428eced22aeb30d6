#include "platform/system/SystemLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <thread>

#include "platform/process/ChildProcess.h"

namespace moxtel {
namespace {

using testing::ElementsAre;
using testing::MatchesRegex;

ProcessResult say(std::vector<std::string> lines) {
  ProcessRequest request;
  request.program = SYSTEM_LOG_LINE;
  request.arguments = std::move(lines);
  request.timeout = std::chrono::seconds(60);
  return SystemProcessRunner().run(request);
}

constexpr const char* kStart =
    "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} system_log_line\\[[0-9]+\\] ";

TEST(SystemLog, writesDateTimeNameAndProcessBeforeTheTextOnStandardError) {
  const ProcessResult result = say({"a %d b"});
  EXPECT_THAT(result.error, MatchesRegex(std::string(kStart) + "a %d b\n"));
  EXPECT_EQ(result.output, "");
}

TEST(SystemLog, writesOneLineEach) {
  const ProcessResult result = say({"one", "two"});
  EXPECT_THAT(result.error, MatchesRegex(std::string(kStart) + "one\n" + kStart + "two\n"));
}

TEST(SystemLog, formatsAndLogsExceptions) {
  const ProcessResult result = say({});
  EXPECT_THAT(result.error, MatchesRegex(std::string(kStart) + "changedConnection: 1\n" + kStart +
                                         "uncaught exception: broken\n"));
}

TEST(SystemLog, passesLinesToASinkInstead) {
  std::vector<std::string> lines;
  setSystemLogSink([&](std::string_view text) { lines.emplace_back(text); });
  NSLog("%@ and %@", "text", Value());
  setSystemLogSink({});
  EXPECT_THAT(lines, ElementsAre("text and (null)"));
}

TEST(SystemLog, collectsLinesOfEveryThreadForTests) {
  const SystemLogCapture log;
  std::thread([] { NSLog("there"); }).join();
  EXPECT_TRUE(log.contains("there"));
  EXPECT_FALSE(log.contains("here"));
}

TEST(RunLogged, returnsWhetherTheTaskRanToItsEnd) {
  const SystemLogCapture log;
  EXPECT_TRUE(runLogged([] {}));
  EXPECT_FALSE(runLogged([] { throw std::runtime_error("100%@"); }));
  EXPECT_FALSE(runLogged([] { throw "text"; }));
  EXPECT_THAT(log.lines(), ElementsAre("uncaught exception: 100%@", "uncaught exception"));
}

}  // namespace
}  // namespace moxtel
