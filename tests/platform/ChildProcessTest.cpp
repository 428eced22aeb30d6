#include "platform/process/ChildProcess.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <thread>

#include "platform/files/FileDescriptor.h"
#include "platform/system/Shortage.h"
#include "tests/FewDescriptors.h"
#include "tests/TemporaryFolder.h"
#include "tests/fakes/FakeProcessRunner.h"

namespace moxtel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using Ending = ProcessResult::Ending;

// A time-out that only a failing test reaches.
constexpr auto kLong = 60s;

ProcessRequest shell(std::string script) {
  ProcessRequest request{"/bin/sh", {"-c", std::move(script)}, {}, kLong, 1 << 20, {}};
  return request;
}

ProcessResult run(const ProcessRequest& request) { return SystemProcessRunner().run(request); }

// Whether a process that is not our child, and so is not reaped by us, has ended: missing, or a zombie of
// init.
bool isGone(pid_t process) {
  if (::kill(process, 0) != 0) return errno == ESRCH;
  std::ifstream stat("/proc/" + std::to_string(process) + "/stat");
  std::string text;
  std::getline(stat, text);
  return text.empty() || text.find(") Z") != std::string::npos;
}

TEST(ChildProcess, givesOutputErrorAndExitStatus) {
  const auto result = run(shell("printf out; printf err >&2; exit 3"));
  EXPECT_EQ(result.ending, Ending::Exited);
  EXPECT_EQ(result.exitStatus, 3);
  EXPECT_EQ(result.output, "out");
  EXPECT_EQ(result.error, "err");
}

TEST(ChildProcess, findsAProgramInThePath) { EXPECT_EQ(run({"true", {}, {}, kLong, 100, {}}).exitStatus, 0); }

TEST(ChildProcess, passesArgumentsUnchanged) {
  const auto result =
      run({"/usr/bin/printf", {"%s|", "a b", "$HOME", "'", "\"", "*", ""}, {}, kLong, 100, {}});
  EXPECT_EQ(result.output, "a b|$HOME|'|\"|*||");
}

TEST(ChildProcess, saysWhyAProgramWasNotStarted) {
  const auto result = run({"/no/such/program", {}, {}, kLong, 100, {}});
  EXPECT_EQ(result.ending, Ending::NotStarted);
  EXPECT_EQ(result.error, "No such file or directory");
}

TEST(ChildProcess, notesThatAProgramWasNotStartedForWantOfDescriptors) {
  const ShortageWatch missing;
  EXPECT_EQ(run({"/nonexistent/program", {}, {}, kLong, 100, {}}).ending, Ending::NotStarted);
  EXPECT_FALSE(missing.sawOne());
  const ShortageWatch shortages;
  const test::FewDescriptors few(1);
  EXPECT_EQ(run({"true", {}, {}, kLong, 100, {}}).ending, Ending::NotStarted);
  EXPECT_TRUE(shortages.sawOne());
}

TEST(ChildProcess, startsNoFolderAndNoEmptyName) {
  EXPECT_EQ(run({"/tmp", {}, {}, kLong, 100, {}}).ending, Ending::NotStarted);
  EXPECT_EQ(run({"", {}, {}, kLong, 100, {}}).ending, Ending::NotStarted);
}

TEST(ChildProcess, killsAHangingChildAtTheTimeout) {
  auto request = shell("echo here; exec sleep 600");
  request.timeout = 300ms;
  const auto result = run(request);
  EXPECT_EQ(result.ending, Ending::TimedOut);
  EXPECT_EQ(result.output, "here\n");
}

TEST(ChildProcess, killsAStoppedChildToo) {
  auto request = shell("kill -STOP $$");
  request.timeout = 200ms;
  EXPECT_EQ(run(request).ending, Ending::TimedOut);
}

TEST(ChildProcess, killsTheChildrenOfAHangingChild) {
  auto request = shell("sleep 600 & echo $!; wait");
  request.timeout = 300ms;
  const auto result = run(request);
  EXPECT_EQ(result.ending, Ending::TimedOut);
  const pid_t grandchild = std::stoi(result.output);
  for (int i = 0; i < 1000 && !isGone(grandchild); ++i) std::this_thread::sleep_for(5ms);
  EXPECT_TRUE(isGone(grandchild));
}

TEST(ChildProcess, killsAChildThatPrintsTooMuch) {
  auto request = shell("exec cat /dev/zero");
  request.outputLimit = 100'000;
  const auto result = run(request);
  EXPECT_EQ(result.ending, Ending::TooMuchOutput);
  EXPECT_EQ(result.output.size(), 100'000u);
}

TEST(ChildProcess, killsAChildThatPrintsTooManyErrors) {
  auto request = shell("exec cat /dev/zero >&2");
  request.outputLimit = 1000;
  const auto result = run(request);
  EXPECT_EQ(result.ending, Ending::TooMuchOutput);
  EXPECT_EQ(result.error.size(), 1000u);
}

TEST(ChildProcess, takesExactlyTheLimit) {
  auto request = shell("printf 12345");
  request.outputLimit = 5;
  const auto result = run(request);
  EXPECT_EQ(result.ending, Ending::Exited);
  EXPECT_EQ(result.output, "12345");
}

TEST(ChildProcess, waitsForAChildThatClosesItsOutputButLivesOn) {
  const TemporaryFolder folder;
  const std::string file = folder.path() / "done";
  const auto result = run(shell("exec >&- 2>&-; sleep 0.3; touch '" + file + "'; exit 5"));
  EXPECT_EQ(result.ending, Ending::Exited);
  EXPECT_EQ(result.exitStatus, 5);
  EXPECT_TRUE(std::filesystem::exists(file));
}

TEST(ChildProcess, timesOutOnAChildThatClosesItsOutputAndHangs) {
  auto request = shell("exec >&- 2>&-; exec sleep 600");
  request.timeout = 200ms;
  EXPECT_EQ(run(request).ending, Ending::TimedOut);
}

TEST(ChildProcess, endsWithTheChildThoughAGrandchildKeepsThePipeOpen) {
  const auto result = run(shell("sleep 600 & echo $!; exit 4"));
  EXPECT_EQ(result.ending, Ending::Exited);
  EXPECT_EQ(result.exitStatus, 4);
  const pid_t grandchild = std::stoi(result.output);
  EXPECT_FALSE(isGone(grandchild));
  ::kill(grandchild, SIGKILL);
}

TEST(ChildProcess, reportsAKilledChild) { EXPECT_EQ(run(shell("kill -KILL $$")).ending, Ending::Killed); }

TEST(ChildProcess, writesMoreInputThanThePipeHolds) {
  auto request = shell("exec cat");
  request.outputLimit = 10 << 20;
  for (int i = 0; i < 300'000; ++i) request.input += std::to_string(i);
  const auto result = run(request);
  EXPECT_EQ(result.ending, Ending::Exited);
  EXPECT_TRUE(result.output == request.input);
}

TEST(ChildProcess, acceptsAChildThatReadsNoInput) {
  auto request = shell("exec true");
  request.input.assign(1 << 20, 'x');
  const auto result = run(request);
  EXPECT_EQ(result.ending, Ending::Exited);
  EXPECT_EQ(result.exitStatus, 0);
}

TEST(ChildProcess, timesOutOnAChildThatNeitherReadsNorEnds) {
  auto request = shell("exec sleep 600");
  request.input.assign(1 << 20, 'x');
  request.timeout = 200ms;
  EXPECT_EQ(run(request).ending, Ending::TimedOut);
}

TEST(ChildProcess, givesTheChildAFileAsItsInput) {
  const TemporaryFolder folder;
  const std::string path = folder.path() / "input";
  std::ofstream(path) << "of a file";
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));  // NOLINT
  ProcessRequest request = shell("readlink /proc/self/fd/0; cat");
  request.inputDescriptor = file.get();
  EXPECT_EQ(run(request).output, path + "\nof a file");
  EXPECT_NE(::fcntl(file.get(), F_GETFD), -1);
}

TEST(ChildProcess, killsAChildThatIsNotWantedAnyMore) {
  ProcessRequest request = shell("echo $$; exec sleep 1000");
  bool isStarted = false;
  request.onOutput = [&](std::string_view) { return isStarted = true; };
  request.canceled = [&] { return isStarted; };
  EXPECT_EQ(run(request).ending, Ending::Killed);
}

TEST(ChildProcess, aRunnerThatEndsKillsWhatRunsAndWhatIsStartedLater) {
  SystemProcessRunner runner;
  ProcessRequest request = shell("echo; exec sleep 1000");
  request.onOutput = [&](std::string_view) {
    std::thread([&] { runner.end(); }).join();
    return true;
  };
  EXPECT_EQ(runner.run(request).ending, Ending::Killed);
  EXPECT_TRUE(runner.hasEnded());
  EXPECT_EQ(runner.run(shell("exec sleep 1000")).ending, Ending::Killed);
}

TEST(ChildProcess, givesAChildWithoutInputNothingToRead) {
  EXPECT_EQ(run(shell("cat; echo end")).output, "end\n");
}

TEST(ChildProcess, leavesNoDescriptorToTheChild) {
  // Neither of these is close-on-exec.
  int sockets[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, sockets), 0);
  const int file = ::open("/dev/null", O_RDONLY);  // NOLINT
  const auto result = run({"/bin/ls", {"/proc/self/fd"}, {}, kLong, 1000, {}});
  EXPECT_EQ(result.output, "0\n1\n2\n3\n");  // 3 is the folder that ls reads
  for (const int fd : {sockets[0], sockets[1], file}) ::close(fd);
}

TEST(ChildProcess, leavesNoDescriptorOpen) {
  const auto count = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
  run(shell("true"));
  const auto before = count();
  for (int i = 0; i < 20; ++i) run(shell("cat"));
  run({"/no/such/program", {}, "input", kLong, 100, {}});
  EXPECT_EQ(count(), before);
}

TEST(ChildProcess, givesTheChildDefaultSignals) {
  const auto before = ::signal(SIGPIPE, SIG_IGN);
  EXPECT_EQ(run(shell("kill -PIPE $$; echo alive")).ending, Ending::Killed);
  ::signal(SIGPIPE, before);
}

TEST(ChildProcess, deliversChunksAsTheyArrive) {
  std::vector<std::string> chunks;
  const TemporaryFolder folder;
  const std::string seen = folder.path() / "seen";
  // The child continues only after its first chunk was seen.
  auto request = shell("printf a; until [ -e '" + seen + "' ]; do sleep 0.01; done; printf b");
  request.onOutput = [&](std::string_view chunk) {
    chunks.emplace_back(chunk);
    std::ofstream(seen) << "x";
    return true;
  };
  const auto result = run(request);
  EXPECT_EQ(result.ending, Ending::Exited);
  EXPECT_THAT(chunks, ElementsAre("a", "b"));
  EXPECT_EQ(result.output, "");
}

TEST(ChildProcess, stopsDeliveringChunksOnRequestAndLetsTheChildEnd) {
  auto request = shell("head -c 3000000 /dev/zero; exit 6");
  int calls = 0;
  request.onOutput = [&](std::string_view) {
    ++calls;
    return false;
  };
  const auto result = run(request);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(result.ending, Ending::Exited);
  EXPECT_EQ(result.exitStatus, 6);
}

TEST(ChildProcess, boundsTheDeliveredChunks) {
  auto request = shell("exec cat /dev/zero");
  request.outputLimit = 200'000;
  std::size_t bytes = 0;
  request.onOutput = [&](std::string_view chunk) {
    bytes += chunk.size();
    return true;
  };
  EXPECT_EQ(run(request).ending, Ending::TooMuchOutput);
  EXPECT_EQ(bytes, 200'000u);
}

TEST(ChildProcess, runsOnManyThreadsAtOnce) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([i] {
      auto request = shell("cat; exit " + std::to_string(i));
      request.input = std::to_string(i);
      const auto result = run(request);
      EXPECT_EQ(result.exitStatus, i);
      EXPECT_EQ(result.output, std::to_string(i));
    });
  }
  for (auto& thread : threads) thread.join();
}

TEST(FakeProcessRunner, keepsRequestsAndPlaysChunks) {
  FakeProcessRunner runner([](const ProcessRequest&) { return FakeProcessRunner::printing("abc", 2); });
  EXPECT_EQ(runner.run({"x", {"y"}, {}, kLong, 1, {}}).output, "abc");
  std::vector<std::string> chunks;
  ProcessRequest request{"z", {}, {}, kLong, 1, {}};
  request.onOutput = [&](std::string_view chunk) {
    chunks.emplace_back(chunk);
    return chunks.size() < 3;
  };
  EXPECT_EQ(runner.run(request).output, "");
  runner.setChunks({"1", "2", "3"});
  EXPECT_EQ(runner.run(request).exitStatus, 2);
  EXPECT_THAT(chunks, ElementsAre("abc", "1", "2"));
  ASSERT_EQ(runner.requests().size(), 3u);
  EXPECT_EQ(runner.requests()[1].program, "z");
}

TEST(FakeProcessRunner, startsNoProcess) {
  EXPECT_EQ(FakeProcessRunner().run({"x", {}, {}, kLong, 1, {}}).ending, Ending::NotStarted);
}

}  // namespace
}  // namespace moxtel
