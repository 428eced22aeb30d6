#include "platform/system/SystemLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
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

TEST(SystemLog, escapesControlCharacters) {
  EXPECT_THAT(say({"a\x1b[31m\u202eb"}).error,
              MatchesRegex(std::string(kStart) + "a\\\\x1b\\[31m\\\\xe2\\\\x80\\\\xaeb\n"));
}

TEST(SystemLog, countsEqualLinesInARow) {
  EXPECT_THAT(say({"a", "a", "a", "a", "a", "b"}).error,
              MatchesRegex(std::string(kStart) + "a\n" + kStart + "a\n" + kStart + "a\n" + kStart +
                           "… 2 more like this\n" + kStart + "b\n"));
}

TEST(SystemLog, reportsEqualLinesAtTheEnd) {
  EXPECT_THAT(say({"a", "a", "a", "a"}).error, testing::EndsWith("] … 1 more like this\n"));
}

TEST(SystemLog, writes100LinesASecondAtMost) {
  std::vector<std::string> lines;
  for (int i = 0; i < 1000; ++i) lines.push_back(std::to_string(i));
  const std::string written = say(lines).error;
  EXPECT_LT(std::count(written.begin(), written.end(), '\n'), 1000);
}

TEST(SystemLog, cutsTextsAndKeepsThemOnOneLine) {
  const SystemLogCapture log;
  NSLog("'%@'\n", std::string(501, 'a') + "\n");
  EXPECT_THAT(log.lines(), ElementsAre("'" + std::string(500, 'a') + "…'\n"));
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
