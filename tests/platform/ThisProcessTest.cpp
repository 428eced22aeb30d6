#include "platform/process/ThisProcess.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "platform/process/ChildProcess.h"
#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

// What the prepared process found, started by a shell with the redirections, by way of another command.
std::string foundWith(const std::string& redirections, const std::string& by = "") {
  const TemporaryFolder folder;
  const std::string file = folder.path() / "found";
  ProcessRequest request;
  request.program = "/bin/sh";
  request.arguments = {"-c", "exec " + by + " '" PREPARED_PROCESS "' '" + file + "' " + redirections};
  request.timeout = std::chrono::seconds(60);
  const ProcessResult result = SystemProcessRunner().run(request);
  EXPECT_EQ(result.ending, ProcessResult::Ending::Exited);
  EXPECT_EQ(result.exitStatus, 3);
  std::ifstream in(file);
  return {std::istreambuf_iterator<char>(in), {}};
}

TEST(ThisProcess, leavesOpenDescriptorsAsTheyAre) { EXPECT_EQ(foundWith(""), "file 3, open 0 1 2"); }

TEST(ThisProcess, opensClosedStandardDescriptors) {
  EXPECT_EQ(foundWith("<&-"), "file 3, open 0 1 2");
  EXPECT_EQ(foundWith("<&- >&-"), "file 3, open 0 1 2");
  EXPECT_EQ(foundWith("2>&-"), "file 3, open 0 1 2");
  EXPECT_EQ(foundWith("<&- >&- 2>&-"), "file 3, open 0 1 2");
}

TEST(ThisProcess, getsTheExitStatusOfChildrenWhateverItsParentIgnores) {
  EXPECT_EQ(foundWith("", "env --ignore-signal=CHLD"), "file 3, open 0 1 2");
}

// Whatever its threads do, and even if it is asked again and again.
TEST(ThisProcess, endsWithinTheTimeThatItHas) {
  ProcessRequest request{PREPARED_PROCESS, {}, {}, std::chrono::seconds(60), 100, {}};
  const ProcessResult result = SystemProcessRunner().run(request);
  EXPECT_EQ(result.ending, ProcessResult::Ending::Exited);
  EXPECT_EQ(result.exitStatus, 0);
}

TEST(ThisProcess, returnsAProgramsStatus) {
  EXPECT_EQ(runProgram([] { return 7; }), 7);
}

TEST(ThisProcess, reportsWhyAProgramThrew) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(runProgram([]() -> int { throw std::runtime_error("no 100% of it"); }), 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "ThisProcessTest: no 100% of it\n");
}

TEST(ThisProcess, knowsItsName) { EXPECT_EQ(processName(), "ThisProcessTest"); }

}  // namespace
}  // namespace moxtel
