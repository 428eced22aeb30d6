#include "platform/applications/RunningApplications.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <thread>

#include "platform/applications/ProcRunningApplications.h"
#include "tests/TemporaryFolder.h"

extern char** environ;

namespace moxtel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
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
  // A script that waits in the shell itself (what it started would outlive it) until a line comes, and then
  // becomes another program.
  std::filesystem::path script(const std::string& name, const std::filesystem::path& next = "/bin/true") {
    const auto path = folder_.path() / name;
    std::ofstream(path) << "#!/bin/sh\nread line < \"$1\"\nexec '" << next.string() << "' 600\n";
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
  }
  std::filesystem::path fifo() {
    const auto path = folder_.path() / "fifo";
    ::mkfifo(path.c_str(), 0600);
    return path;
  }
  const TemporaryFolder folder_;
};

// Until the process has become a program.
void waitForExecutable(const Program& running, const std::filesystem::path& path) {
  const std::string link = "/proc/" + std::to_string(running.process()) + "/exe";
  std::error_code error;
  while (std::filesystem::read_symlink(link, error) != path) std::this_thread::yield();
}

// A made-up /proc, for what cannot be brought about at will.
class MadeUpProcesses : public testing::Test {
 protected:
  // A process that was there before gives way.
  void add(const std::string& process, const std::string& name, const std::string& executable) {
    const auto made = folder_.path() / "made";
    std::filesystem::create_directory(made);
    if (!name.empty()) std::ofstream(made / "comm") << name << "\n";
    if (!executable.empty()) std::filesystem::create_symlink(executable, made / "exe");
    // The old folder keeps its inode while the new one is made.
    const auto old = folder_.path() / ("old" + std::to_string(++gone_));
    std::error_code none;
    std::filesystem::rename(folder_.path() / process, old, none);
    std::filesystem::rename(made, folder_.path() / process);
  }
  // One whose executable may not be read: here a file where the link should be.
  void addForeign(const std::string& process, const std::string& name, const std::string& memory) {
    add(process, name, {});
    std::ofstream(folder_.path() / process / "exe") << "x";
    std::ofstream(folder_.path() / process / "statm") << memory << "\n";
  }
  void rename(const std::string& process, const std::string& name) {
    std::ofstream(folder_.path() / process / "comm") << name << "\n";
  }
  void become(const std::string& process, const std::string& executable) {
    std::filesystem::remove(folder_.path() / process / "exe");
    if (!executable.empty()) std::filesystem::create_symlink(executable, folder_.path() / process / "exe");
  }
  const TemporaryFolder folder_;
  int gone_ = 0;
  ProcRunningApplications applications_{{"iPhoto", "Aperture"}, folder_.path()};
};

TEST_F(RealProcesses, areNamedWhileTheyRun) {
  const auto applications = makeRunningApplications({"moxtel-test"});
  EXPECT_THAT(applications->names(), IsEmpty());
  Program running(program("moxtel-test"));
  ASSERT_TRUE(running.started());
  EXPECT_THAT(applications->names(), ElementsAre("moxtel-test"));
  running.end();
  EXPECT_THAT(applications->names(), IsEmpty());
}

TEST_F(RealProcesses, mayHaveALongName) {
  const Program running(program("moxtel-long-application-name"));
  EXPECT_THAT(makeRunningApplications({"moxtel-long-application-name"})->names(),
              ElementsAre("moxtel-long-application-name"));
}

TEST_F(RealProcesses, mayBeScripts) {
  const Program running(script("moxtel-script"), fifo());
  ASSERT_TRUE(running.started());
  EXPECT_THAT(makeRunningApplications({"moxtel-script"})->names(), ElementsAre("moxtel-script"));
}

TEST_F(RealProcesses, mayHaveLostTheirFile) {
  const auto path = program("moxtel-deleted-program");
  const Program running(path);
  std::filesystem::remove(path);
  EXPECT_THAT(makeRunningApplications({"moxtel-deleted-program"})->names(),
              ElementsAre("moxtel-deleted-program"));
}

TEST_F(RealProcesses, areGoneAsZombies) {
  const auto applications = makeRunningApplications({"moxtel-zombie"});
  const Program running(program("moxtel-zombie"));
  EXPECT_THAT(applications->names(), ElementsAre("moxtel-zombie"));
  running.kill();
  EXPECT_THAT(applications->names(), IsEmpty()) << "though its name can still be read";
  EXPECT_THAT(makeRunningApplications({"moxtel-zombie"})->names(), IsEmpty());
}

TEST_F(RealProcesses, areKnownByTheirNewNameOnceTheyBecomeAnotherProgram) {
  const auto next = program("moxtel-next");
  const auto door = fifo();
  const auto applications = makeRunningApplications({"moxtel-first", "moxtel-next"});
  const Program running(script("moxtel-first", next), door);
  for (int i = 0; i < 20; ++i) ASSERT_THAT(applications->names(), ElementsAre("moxtel-first"));
  std::ofstream(door) << "go\n";
  waitForExecutable(running, next);
  EXPECT_THAT(applications->names(), ElementsAre("moxtel-next"));
}

TEST_F(RealProcesses, areStillKnownWithoutADescriptorToBeHad) {
  const auto applications = makeRunningApplications({"moxtel-before", "moxtel-after"});
  const Program before(program("moxtel-before"));
  EXPECT_THAT(applications->names(), ElementsAre("moxtel-before"));
  const auto later = program("moxtel-after");
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit none{0, limit.rlim_max};
  const Program after(later);
  waitForExecutable(after, later);
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
  const auto names = applications->names();
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_THAT(names, UnorderedElementsAre("moxtel-before", "moxtel-after"));
}

TEST_F(MadeUpProcesses, areNamedByTheirExecutableWhereTheirNameIsAnother) {
  add("1", "init", "/lib/systemd/systemd");
  add("20", "iPhoto", "/usr/bin/python3");
  add("300", "main", "/opt/Aperture");
  add("301", "Aperture", "/opt/Aperture");
  EXPECT_THAT(applications_.names(), UnorderedElementsAre("iPhoto", "Aperture", "Aperture"));
}

TEST_F(MadeUpProcesses, areNamedExactly) {
  add("1", "iphoto", "/bin/IPHOTO");
  add("2", "iPhoto ", "/bin/iPhoto2");
  add("3", " iPhoto", "/iPhoto/x");
  add("4", "iPhot", "/bin/iPhoto.app");
  EXPECT_THAT(applications_.names(), IsEmpty());
}

TEST_F(MadeUpProcesses, ofSomeoneElseHaveTheirNameAlone) {
  addForeign("1", "iPhoto", "1234 5 6 7 0 8 0");
  EXPECT_THAT(applications_.names(), ElementsAre("iPhoto"));
}

TEST_F(MadeUpProcesses, mayHaveParenthesesAndBlanksInTheirName) {
  ProcRunningApplications applications({"a) Z (b c"}, folder_.path());
  add("1", "a) Z (b c", "/bin/x");
  EXPECT_THAT(applications.names(), ElementsAre("a) Z (b c"));
}

TEST_F(MadeUpProcesses, loseTheMarkOfADeletedFile) {
  add("1", "old", "/usr/bin/iPhoto (deleted)");
  EXPECT_THAT(applications_.names(), ElementsAre("iPhoto"));
}

TEST_F(MadeUpProcesses, areLeftOutWhenDeadOrGone) {
  add("1", "iPhoto", {});
  addForeign("2", "iPhoto", "0 0 0 0 0 0 0");
  addForeign("3", "iPhoto", {});
  std::filesystem::remove(folder_.path() / "3/statm");
  add("self", "iPhoto", "/bin/iPhoto");
  add("9x", "iPhoto", "/bin/iPhoto");
  EXPECT_THAT(applications_.names(), IsEmpty());
}

TEST_F(MadeUpProcesses, mayLackANameForAMoment) {
  add("4", {}, "/bin/iPhoto");
  EXPECT_THAT(applications_.names(), ElementsAre("iPhoto"));
}

TEST_F(MadeUpProcesses, areFollowedWhenTheyTakeAnotherName) {
  add("1", "sh", "/bin/sh");
  for (int i = 0; i < 30; ++i) ASSERT_THAT(applications_.names(), IsEmpty());
  rename("1", "iPhoto");
  EXPECT_THAT(applications_.names(), ElementsAre("iPhoto"));
  rename("1", "Aperture");
  EXPECT_THAT(applications_.names(), ElementsAre("Aperture"));
  rename("1", "sh");
  EXPECT_THAT(applications_.names(), IsEmpty());
}

TEST_F(MadeUpProcesses, areSeenToEndWhateverWasRemembered) {
  add("1", "iPhoto", "/bin/iPhoto");
  addForeign("2", "Aperture", "1 2 3 4 5 6 7");
  for (int i = 0; i < 30; ++i) ASSERT_THAT(applications_.names(), UnorderedElementsAre("iPhoto", "Aperture"));
  become("1", {});
  std::ofstream(folder_.path() / "2/statm") << "0 0 0 0 0 0 0\n";
  EXPECT_THAT(applications_.names(), IsEmpty());
}

TEST_F(MadeUpProcesses, thatTookOverANumberAreReadAnew) {
  add("1", "iPhoto", "/bin/iPhoto");
  for (int i = 0; i < 30; ++i) ASSERT_THAT(applications_.names(), ElementsAre("iPhoto"));
  add("1", "main", "/bin/Aperture");
  EXPECT_THAT(applications_.names(), ElementsAre("Aperture"));
}

// First seen between its start and its becoming a program.
TEST_F(MadeUpProcesses, areReadAgainAtOnceWhenTheyAreNew) {
  add("1", "main", "/bin/sh");
  EXPECT_THAT(applications_.names(), IsEmpty());
  become("1", "/bin/iPhoto");
  EXPECT_THAT(applications_.names(), ElementsAre("iPhoto"));
}

// The one change of which nothing tells but the link itself.
TEST_F(MadeUpProcesses, areSeenWithinTenQuestionsWhenTheirProgramAloneChanges) {
  for (int process = 1; process <= 20; ++process) add(std::to_string(process), "main", "/bin/sh");
  for (int i = 0; i < 30; ++i) ASSERT_THAT(applications_.names(), IsEmpty());
  for (int process = 1; process <= 20; ++process) become(std::to_string(process), "/bin/iPhoto");
  for (int i = 0; i < 9; ++i) applications_.names();
  EXPECT_EQ(applications_.names().size(), 20u);
}

TEST_F(MadeUpProcesses, takeHalfOfTheDescriptorsAtMost) {
  const auto descriptors = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  };
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit few{100, limit.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
  ProcRunningApplications applications({"iPhoto"}, folder_.path());
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  const auto before = descriptors();
  for (int process = 1; process <= 100; ++process) add(std::to_string(process), "iPhoto", "/bin/x");
  for (int i = 0; i < 20; ++i) ASSERT_EQ(applications.names().size(), 100u);
  EXPECT_EQ(descriptors(), before + 50 + 1) << "and the folder's";
  for (int process = 1; process <= 100; ++process) rename(std::to_string(process), "main");
  for (int i = 0; i < 9; ++i) applications.names();
  EXPECT_THAT(applications.names(), IsEmpty()) << "the others are read now and then";
  for (int process = 1; process <= 100; ++process) rename(std::to_string(process), "iPhoto");
  for (int i = 0; i < 9; ++i) applications.names();
  for (int process = 1; process <= 80; ++process) {
    std::filesystem::remove_all(folder_.path() / std::to_string(process));
  }
  EXPECT_EQ(applications.names().size(), 20u);
  for (int process = 201; process <= 205; ++process) add(std::to_string(process), "iPhoto", "/bin/x");
  for (int i = 0; i < 10; ++i) ASSERT_EQ(applications.names().size(), 25u);
  EXPECT_EQ(descriptors(), before + 25 + 1) << "there is room for others again";
}

TEST(ProcRunningApplications, areNoneWithoutAProcFolder) {
  EXPECT_THAT(ProcRunningApplications({"iPhoto"}, "/no/such/folder").names(), IsEmpty());
}

}  // namespace
}  // namespace moxtel
