#include "platform/RunningApplications.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "platform/ProcRunningApplications.h"
#include "tests/TemporaryFolder.h"

extern char** environ;

namespace moxtel {
namespace {

using testing::Contains;
using testing::Not;
using testing::UnorderedElementsAre;

// A running program, ended with the test.
class Program {
 public:
  explicit Program(const std::filesystem::path& path, std::string argument = "600") {
    std::string name = path.string();
    char* words[] = {name.data(), argument.data(), nullptr};
    if (::posix_spawn(&process_, name.c_str(), nullptr, nullptr, words, environ) != 0) process_ = -1;
  }
  ~Program() { end(); }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  bool started() const { return process_ > 0; }
  pid_t process() const { return process_; }
  // Dead, and a zombie until it is reaped.
  void kill() const {
    ::kill(process_, SIGKILL);
    siginfo_t info{};
    ::waitid(P_PID, static_cast<id_t>(process_), &info, WEXITED | WNOWAIT);
  }
  void end() {
    if (process_ <= 0) return;
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
    process_ = -1;
  }

 private:
  pid_t process_ = -1;
};

class RealProcesses : public testing::Test {
 protected:
  std::filesystem::path program(const std::string& name) {
    const auto path = folder_.path() / name;
    std::filesystem::copy_file("/bin/sleep", path);
    return path;
  }
  std::vector<std::string> names() { return makeRunningApplications()->names(); }
  const TemporaryFolder folder_;
};

// A made-up /proc, for what cannot be brought about at will.
class MadeUpProcesses : public testing::Test {
 protected:
  void add(const std::string& process, const std::string& stat, const std::string& executable = {}) {
    std::filesystem::create_directory(folder_.path() / process);
    if (!stat.empty()) std::ofstream(folder_.path() / process / "stat") << stat;
    if (!executable.empty()) std::filesystem::create_symlink(executable, folder_.path() / process / "exe");
  }
  std::vector<std::string> names() { return ProcRunningApplications(folder_.path()).names(); }
  const TemporaryFolder folder_;
};

TEST_F(RealProcesses, namesAProgramWhileItRuns) {
  const std::string name = "iPhoto";
  const auto before = names();
  const auto count = std::count(before.begin(), before.end(), name);
  Program running(program(name));
  ASSERT_TRUE(running.started());
  auto now = names();
  EXPECT_EQ(std::count(now.begin(), now.end(), name), count + 1);
  running.end();
  now = names();
  EXPECT_EQ(std::count(now.begin(), now.end(), name), count);
}

TEST_F(RealProcesses, namesALongOneWhole) {
  const Program running(program("moxtel-long-application-name"));
  EXPECT_THAT(names(), Contains("moxtel-long-application-name"));
}

TEST_F(RealProcesses, namesAScriptByItsFile) {
  const auto path = folder_.path() / "moxtel-script";
  const auto fifo = folder_.path() / "fifo";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  // Waits in the shell itself: what it started would outlive it.
  std::ofstream(path) << "#!/bin/sh\nread line < \"$1\"\n";
  std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  const Program running(path, fifo);
  ASSERT_TRUE(running.started());
  EXPECT_THAT(names(), Contains("moxtel-script"));
}

TEST_F(RealProcesses, namesAProgramWhoseFileIsGone) {
  const auto path = program("moxtel-deleted-program");
  const Program running(path);
  std::filesystem::remove(path);
  EXPECT_THAT(names(), Contains("moxtel-deleted-program"));
}

TEST_F(RealProcesses, doesNotNameAZombie) {
  const Program running(program("moxtel-zombie"));
  EXPECT_THAT(names(), Contains("moxtel-zombie"));
  running.kill();
  EXPECT_THAT(names(), Not(Contains("moxtel-zombie")));
}

TEST_F(MadeUpProcesses, haveTheirNameAndThatOfTheirExecutable) {
  add("1", "1 (init) S 0 1", "/lib/systemd/systemd");
  add("20", "20 (sleep) S 0 1", "/bin/sleep");
  add("300", "300 (kthreadd) S 0 1");
  EXPECT_THAT(names(), UnorderedElementsAre("init", "systemd", "sleep", "kthreadd"));
}

TEST_F(MadeUpProcesses, mayHaveParenthesesAndBlanksInTheirName) {
  add("1", "1 (a) Z (b c) R 0 1");
  EXPECT_THAT(names(), UnorderedElementsAre("a) Z (b c"));
}

TEST_F(MadeUpProcesses, loseTheMarkOfADeletedFile) {
  add("1", "1 (old) S 0", "/usr/bin/iPhoto (deleted)");
  EXPECT_THAT(names(), UnorderedElementsAre("old", "iPhoto"));
}

TEST_F(MadeUpProcesses, areLeftOutWhenDeadBrokenOrGone) {
  add("1", "1 (zombie) Z 0 1", "/bin/zombie");
  add("2", "2 (dead) X 0 1");
  add("3", "");
  add("4", "4 (cut");
  add("5", "5 (cut)");
  add("6", "6 )backwards( S");
  add("self", "7 (self) S 0");
  add("9x", "9 (x) S 0");
  EXPECT_TRUE(names().empty());
}

TEST(ProcRunningApplications, areNoneWithoutAProcFolder) {
  EXPECT_TRUE(ProcRunningApplications("/no/such/folder").names().empty());
}

}  // namespace
}  // namespace moxtel
