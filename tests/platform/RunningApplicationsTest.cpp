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
  void add(const std::string& process, const std::string& name, const std::string& executable) {
    std::filesystem::create_directory(folder_.path() / process);
    if (!name.empty()) std::ofstream(folder_.path() / process / "comm") << name << "\n";
    if (!executable.empty()) std::filesystem::create_symlink(executable, folder_.path() / process / "exe");
  }
  // One whose executable may not be read: here a file where the link should be.
  void addForeign(const std::string& process, const std::string& name, const std::string& memory) {
    add(process, name, {});
    std::ofstream(folder_.path() / process / "exe") << "x";
    std::ofstream(folder_.path() / process / "statm") << memory << "\n";
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
  add("1", "init", "/lib/systemd/systemd");
  add("20", "sleep", "/bin/sleep");
  EXPECT_THAT(names(), UnorderedElementsAre("init", "systemd", "sleep"));
}

TEST_F(MadeUpProcesses, ofSomeoneElseHaveTheirNameAlone) {
  addForeign("1", "iPhoto", "1234 5 6 7 0 8 0");
  EXPECT_THAT(names(), UnorderedElementsAre("iPhoto"));
}

TEST_F(MadeUpProcesses, mayHaveParenthesesAndBlanksInTheirName) {
  add("1", "a) Z (b c", "/bin/a) Z (b c");
  EXPECT_THAT(names(), UnorderedElementsAre("a) Z (b c"));
}

TEST_F(MadeUpProcesses, loseTheMarkOfADeletedFile) {
  add("1", "old", "/usr/bin/iPhoto (deleted)");
  EXPECT_THAT(names(), UnorderedElementsAre("old", "iPhoto"));
}

TEST_F(MadeUpProcesses, areLeftOutWhenDeadOrGone) {
  add("1", "zombie", {});
  addForeign("2", "foreign-zombie", "0 0 0 0 0 0 0");
  addForeign("3", "foreign-gone", {});
  std::filesystem::remove(folder_.path() / "3/statm");
  add("4", {}, "/bin/gone");
  add("self", "self", "/bin/self");
  add("9x", "x", "/bin/x");
  EXPECT_TRUE(names().empty());
}

TEST(ProcRunningApplications, areNoneWithoutAProcFolder) {
  EXPECT_TRUE(ProcRunningApplications("/no/such/folder").names().empty());
}

}  // namespace
}  // namespace moxtel
