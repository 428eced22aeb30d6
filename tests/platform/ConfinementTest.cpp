#include "platform/process/Confinement.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>

#include "platform/process/ChildProcess.h"
#include "platform/process/Pipe.h"
#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

using Ending = ProcessResult::Ending;

ProcessResult confined(const char* deed) {
  SystemProcessRunner processes;
  ProcessRequest request;
  request.program = CONFINED_PROCESS;
  request.arguments = {deed};
  request.timeout = std::chrono::minutes(1);
  return processes.run(request);
}

TEST(Confinement, givesNoMoreMemory) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer needs more addresses than any limit";
#endif
  EXPECT_EQ(confined("memory").exitStatus, 3);
}

TEST(Confinement, endsAProcessThatExceedsItsProcessorTime) {
  const ProcessResult result = confined("time");
  EXPECT_EQ(result.ending, Ending::Killed);
}

TEST(Confinement, letsNoFileGrow) {
  const TemporaryFolder folder;
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  EXPECT_EQ(confined("file").exitStatus, 3);
  EXPECT_EQ(std::filesystem::file_size("written"), 4096U);
  std::filesystem::current_path(before);
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
