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
  // The process is a zombie until it is reaped.
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
  // A script whose shell waits for a line (a child that waited would outlive it) and then becomes another
  // program.
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

// Returns once the process has become this program.
void waitForExecutable(const Program& running, const std::filesystem::path& path) {
  const std::string link = "/proc/" + std::to_string(running.process()) + "/exe";
  std::error_code error;
  while (std::filesystem::read_symlink(link, error) != path) std::this_thread::yield();
}

// A made-up /proc, for states that a test cannot force on real processes.
class FakeProcesses : public testing::Test {
 protected:
  // Replaces a process of that number.
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
  for (int i = 0; i < 3; ++i) ASSERT_THAT(applications->names(), ElementsAre("moxtel-first"));
  std::ofstream(door) << "go\n";
  waitForExecutable(running, next);
  EXPECT_THAT(applications->names(), ElementsAre("moxtel-next"));
}

TEST_F(RealProcesses, stayKnownWhenThereIsNoFreeDescriptor) {
  const auto applications = makeRunningApplications({"moxtel-before", "moxtel-after"});
  const Program before(program("moxtel-before"));
  EXPECT_THAT(applications->names(), ElementsAre("moxtel-before"));
  const auto later = program("moxtel-after");
  const Program after(later);
  waitForExecutable(after, later);
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  // One descriptor is enough to list the processes, but not to read their names.
  const auto namesWith = [&](int free) {
    const int next = ::dup(0);
    ::close(next);
    const rlimit few{static_cast<rlim_t>(next + free), limit.rlim_max};
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    auto names = applications->names();
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    return names;
  };
  EXPECT_THAT(namesWith(0), ElementsAre("moxtel-before"));
  EXPECT_THAT(namesWith(1), ElementsAre("moxtel-before"));
  EXPECT_THAT(applications->names(), UnorderedElementsAre("moxtel-before", "moxtel-after"));
}

TEST_F(FakeProcesses, areNamedByTheirExecutableWhereTheirNameIsAnother) {
  add("1", "init", "/lib/systemd/systemd");
  add("20", "iPhoto", "/usr/bin/python3");
  add("300", "main", "/opt/Aperture");
  add("301", "Aperture", "/opt/Aperture");
  EXPECT_THAT(applications_.names(), UnorderedElementsAre("iPhoto", "Aperture", "Aperture"));
}

TEST_F(FakeProcesses, areNamedExactly) {
  add("1", "iphoto", "/bin/IPHOTO");
  add("2", "iPhoto ", "/bin/iPhoto2");
  add("3", " iPhoto", "/iPhoto/x");
  add("4", "iPhot", "/bin/iPhoto.app");
  EXPECT_THAT(applications_.names(), IsEmpty());
}

TEST_F(FakeProcesses, ofAnotherUserAreKnownByNameOnly) {
  addForeign("1", "iPhoto", "1234 5 6 7 0 8 0");
  EXPECT_THAT(applications_.names(), ElementsAre("iPhoto"));
}

TEST_F(FakeProcesses, mayHaveParenthesesAndBlanksInTheirName) {
  ProcRunningApplications applications({"a) Z (b c"}, folder_.path());
  add("1", "a) Z (b c", "/bin/x");
  EXPECT_THAT(applications.names(), ElementsAre("a) Z (b c"));
}

TEST_F(FakeProcesses, loseTheMarkOfADeletedFile) {
  add("1", "old", "/usr/bin/iPhoto (deleted)");
  EXPECT_THAT(applications_.names(), ElementsAre("iPhoto"));
}

TEST_F(FakeProcesses, areLeftOutWhenDeadOrGone) {
  add("1", "iPhoto", {});
  addForeign("2", "iPhoto", "0 0 0 0 0 0 0");
  addForeign("3", "iPhoto", {});
  std::filesystem::remove(folder_.path() / "3/statm");
  add("self", "iPhoto", "/bin/iPhoto");
  add("9x", "iPhoto", "/bin/iPhoto");
  EXPECT_THAT(applications_.names(), IsEmpty());
}

TEST_F(FakeProcesses, mayLackANameForAMoment) {
  add("4", {}, "/bin/iPhoto");
  EXPECT_THAT(applications_.names(), ElementsAre("iPhoto"));
}

TEST_F(FakeProcesses, areFollowedWhenTheyTakeAnotherName) {
  add("1", "sh", "/bin/sh");
  for (int i = 0; i < 3; ++i) ASSERT_THAT(applications_.names(), IsEmpty());
  rename("1", "iPhoto");
  EXPECT_THAT(applications_.names(), ElementsAre("iPhoto"));
  rename("1", "Aperture");
  EXPECT_THAT(applications_.names(), ElementsAre("Aperture"));
  rename("1", "sh");
  EXPECT_THAT(applications_.names(), IsEmpty());
}

TEST_F(FakeProcesses, areSeenToEnd) {
  add("1", "iPhoto", "/bin/iPhoto");
  addForeign("2", "Aperture", "1 2 3 4 5 6 7");
  for (int i = 0; i < 3; ++i) ASSERT_THAT(applications_.names(), UnorderedElementsAre("iPhoto", "Aperture"));
  become("1", {});
  std::ofstream(folder_.path() / "2/statm") << "0 0 0 0 0 0 0\n";
  EXPECT_THAT(applications_.names(), IsEmpty());
}

TEST_F(FakeProcesses, replaceThoseWhoseNumberTheyGet) {
  add("1", "iPhoto", "/bin/iPhoto");
  for (int i = 0; i < 3; ++i) ASSERT_THAT(applications_.names(), ElementsAre("iPhoto"));
  add("1", "main", "/bin/Aperture");
  EXPECT_THAT(applications_.names(), ElementsAre("Aperture"));
}

// First seen between its start and its becoming a program. Only the link shows the change.
TEST_F(FakeProcesses, areSeenAtOnceWhenTheirProgramAloneChanges) {
  add("1", "main", "/bin/sh");
  for (int i = 0; i < 3; ++i) ASSERT_THAT(applications_.names(), IsEmpty());
  become("1", "/bin/iPhoto");
  EXPECT_THAT(applications_.names(), ElementsAre("iPhoto"));
}

TEST_F(FakeProcesses, leaveNoDescriptorOpen) {
  const auto descriptors = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  };
  for (int process = 1; process <= 100; ++process) add(std::to_string(process), "iPhoto", "/bin/x");
  const auto before = descriptors();
  EXPECT_EQ(applications_.names().size(), 100u);
  EXPECT_EQ(descriptors(), before);
}

TEST(ProcRunningApplications, areNoneWithoutAProcFolder) {
  EXPECT_THAT(ProcRunningApplications({"iPhoto"}, "/no/such/folder").names(), IsEmpty());
}

}  // namespace
}  // namespace moxtel
