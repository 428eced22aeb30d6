#include "platform/process/ThisProcess.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

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

rlim_t descriptorLimit() {
  rlimit limit{};
  EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  return limit.rlim_cur;
}

TEST(ThisProcess, mayHaveMoreDescriptorsThanItsChildren) {
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  ASSERT_GE(before.rlim_max, rlim_t{400});
  const rlimit few{200, before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);

  allowDescriptors(100);
  EXPECT_EQ(descriptorLimit(), rlim_t{200}) << "never fewer";
  allowDescriptors(400);
  EXPECT_EQ(descriptorLimit(), rlim_t{400});
  // It looks after it has read, and gets its input after its limit.
  const ProcessRequest request{
      "/bin/sh", {"-c", "read line; ulimit -S -n"}, "line\n", std::chrono::seconds(60), 100, {}};
  EXPECT_EQ(SystemProcessRunner().run(request).output, "200\n");
  allowDescriptors(std::uint64_t{1} << 62);
  EXPECT_EQ(descriptorLimit(), before.rlim_max) << "what the system allows at most";

  EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
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
