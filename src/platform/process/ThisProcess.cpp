#include "platform/process/ThisProcess.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <mutex>
#include <stdexcept>

#include "platform/files/FileDescriptor.h"

namespace moxtel {
namespace {

std::atomic<rlim_t> descriptorsBefore{0};  // 0: the limit was not raised

}  // namespace

void openStandardDescriptors() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    if (::fcntl(fd, F_GETFD) != -1 || errno != EBADF) continue;
    // The lower ones are open, so open() returns this one. Standard descriptors are inherited by children.
    ::open("/dev/null", O_RDWR);  // NOLINT
  }
}

void ignoreBrokenPipes() {
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGXFSZ, SIG_IGN);
}

// A program inherits an ignored SIGCHLD, and then the exit status of its children is lost: scripts and
// pictures that succeeded would count as failed.
void restoreChildSignal() { ::signal(SIGCHLD, SIG_DFL); }

void prepareProcess() {
  openStandardDescriptors();
  ignoreBrokenPipes();
  restoreChildSignal();
}

void allowDescriptors(std::uint64_t most) {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  const rlim_t before = limit.rlim_cur;
  limit.rlim_cur = std::min<rlim_t>(most, limit.rlim_max);
  if (limit.rlim_cur <= before || ::setrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  descriptorsBefore = before;
}

void restoreDescriptorLimit(int child) {
  const rlim_t before = descriptorsBefore;
  rlimit limit{};
  if (before == 0 || ::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = before;
  ::prlimit(child, RLIMIT_NOFILE, &limit, nullptr);
}

bool endsWithItsTerminal() {
  struct sigaction action {};
  if (::sigaction(SIGHUP, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) return false;
  const FileDescriptor terminal(::open("/dev/tty", O_RDONLY | O_NOCTTY | O_CLOEXEC));
  return static_cast<bool>(terminal);
}

bool becomeUser(const std::string& name) {
  if (::geteuid() != 0) return false;
  const passwd* user = ::getpwnam(name.c_str());  // NOLINT: there is one thread
  if (!user || user->pw_uid == 0) return false;
  const uid_t number = user->pw_uid;
  const std::string home = user->pw_dir;
  if (::initgroups(name.c_str(), user->pw_gid) != 0 || ::setgid(user->pw_gid) != 0 || ::setuid(number) != 0) {
    throw std::runtime_error("cannot become the user " + name);
  }
  ::setenv("HOME", home.c_str(), 1);  // NOLINT: there is one thread
  return true;
}

void blockSignals() {
  sigset_t all;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, nullptr);
}

int runProgram(const std::function<int()>& program) {
  try {
    return program();
  } catch (const std::exception& lack) {
    std::cerr << processName() << ": " << lack.what() << '\n';
    return EXIT_FAILURE;
  }
}

void exitWithin(std::chrono::milliseconds time) {
  static std::once_flag once;
  std::call_once(once, [time] {
    ::signal(SIGALRM, [](int) { ::_exit(EXIT_SUCCESS); });
    itimerval timer{};
    timer.it_value.tv_sec = static_cast<time_t>(time.count() / 1000);
    timer.it_value.tv_usec = static_cast<suseconds_t>(time.count() % 1000 * 1000);
    ::setitimer(ITIMER_REAL, &timer, nullptr);
  });
}

int processIdentifier() { return ::getpid(); }

const std::string& processName() {
  static const std::string kName = program_invocation_short_name;
  return kName;
}

std::string programFolder() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
}

std::string kernelRelease() {
  utsname names{};
  return ::uname(&names) == 0 ? names.release : "";
}

}  // namespace moxtel
