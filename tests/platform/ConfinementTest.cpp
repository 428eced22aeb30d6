#include "platform/process/Confinement.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "platform/process/ChildProcess.h"
#include "platform/process/Pipe.h"
#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

namespace fs = std::filesystem;
using Ending = ProcessResult::Ending;

// The exit status of the confined process.
constexpr int kRefused = 3;
constexpr int kNotInThisKernel = 5;

ProcessResult confined(std::vector<std::string> words) {
  SystemProcessRunner processes;
  ProcessRequest request;
  request.program = CONFINED_PROCESS;
  request.arguments = std::move(words);
  request.timeout = std::chrono::minutes(1);
  return processes.run(request);
}

TEST(Confinement, givesNoMoreMemory) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer needs more addresses than any limit";
#endif
  EXPECT_EQ(confined({"memory"}).exitStatus, kRefused);
}

TEST(Confinement, endsAProcessThatExceedsItsProcessorTime) {
  const ProcessResult result = confined({"time"});
  EXPECT_EQ(result.ending, Ending::Killed);
}

TEST(Confinement, letsNoFileGrow) {
  const TemporaryFolder folder;
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  EXPECT_EQ(confined({"file"}).exitStatus, kRefused);
  EXPECT_EQ(std::filesystem::file_size("written"), 4096U);
  std::filesystem::current_path(before);
}

// Which files it can open, with Landlock's rights of all versions up to one.
class FileConfinement : public testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    fs::create_directory(scratch);
    std::ofstream(folder.path() / "outside") << "secret";
    std::ofstream(scratch / "inside") << "own";
    if (confined({"landlock", scratch, std::to_string(GetParam())}).exitStatus == kNotInThisKernel)
      GTEST_SKIP() << "the kernel has no Landlock of version " << GetParam();
  }
  int statusOf(const char* deed, const fs::path& path) {
    return confined({deed, scratch, std::to_string(GetParam()), path}).exitStatus;
  }

  TemporaryFolder folder;
  const fs::path outside = folder.path() / "outside";
  const fs::path scratch = folder.path() / "scratch";
};

TEST_P(FileConfinement, readsNoOtherFile) {
  EXPECT_EQ(statusOf("read", outside), kRefused);
  EXPECT_EQ(statusOf("read", "/etc/passwd"), kRefused);
  EXPECT_EQ(statusOf("read", "/proc/self/status"), kRefused);
  EXPECT_EQ(statusOf("list", folder.path()), kRefused);
  EXPECT_EQ(statusOf("read", scratch / "inside"), 0);
}

TEST_P(FileConfinement, changesNothingOutsideItsFolder) {
  for (const char* deed : {"write", "truncate", "delete", "chmod", "touch"})
    EXPECT_EQ(statusOf(deed, outside), kRefused) << deed;
  for (const char* deed : {"make", "mkdir", "link", "rename"})
    EXPECT_EQ(statusOf(deed, folder.path() / "new"), kRefused) << deed;
  EXPECT_EQ(fs::file_size(outside), 6U);
  EXPECT_FALSE(fs::exists(folder.path() / "new"));
  EXPECT_EQ(statusOf("make", scratch / "new"), 0);
  EXPECT_EQ(statusOf("delete", scratch / "new"), 0);
}

INSTANTIATE_TEST_SUITE_P(Landlock, FileConfinement, testing::Values(1, 2, kNewestLandlock));

TEST(CallConfinement, makesOnlyTheCallsThatItNeeds) {
  const TemporaryFolder folder;
  if (confined({"filter", folder.path(), "0"}).exitStatus == kNotInThisKernel)
    GTEST_SKIP() << "the kernel has no filters for system calls";
  for (const char* deed : {"socket", "socketpair", "exec", "fork", "vfork", "trace", "kill", "own", "limits",
                           "message", "bpf", "namespace"})
    EXPECT_EQ(confined({deed, folder.path(), "0"}).exitStatus, kRefused) << deed;
  EXPECT_EQ(confined({"thread", folder.path(), "0"}).exitStatus, 0);
}

// Its parent is killed; the pipe, whose writing end no other process has, then ends.
TEST(Confinement, endsWithTheProcessThatStartedIt) {
  Pipe pipe = makePipe(PipeBlocking::Blocking);
  const pid_t starter = ::fork();
  ASSERT_GE(starter, 0);
  if (starter == 0) {
    if (::fork() == 0) {
      ::dup2(pipe.writeEnd.get(), STDOUT_FILENO);
      ::execl(CONFINED_PROCESS, CONFINED_PROCESS, "end", nullptr);
    }
    for (;;) ::pause();
  }
  pipe.writeEnd.close();
  std::array<char, 16> text{};
  ASSERT_EQ(::read(pipe.readEnd.get(), text.data(), text.size()), 9);
  ::kill(starter, SIGKILL);
  ASSERT_EQ(::waitpid(starter, nullptr, 0), starter);
  EXPECT_EQ(::read(pipe.readEnd.get(), text.data(), text.size()), 0);
}

}  // namespace
}  // namespace moxtel
