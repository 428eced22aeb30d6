#include "platform/process/ThisProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#ifdef __APPLE__
#include <limits.h>
#include <mach-o/dyld.h>
#endif

namespace moxtel {

void openStandardDescriptors() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    if (::fcntl(fd, F_GETFD) != -1 || errno != EBADF) continue;
    // Those below are open: the lowest free number is this one. Not close-on-exec, as standard ones are.
    ::open("/dev/null", O_RDWR);  // NOLINT
  }
}

void ignoreBrokenPipes() { ::signal(SIGPIPE, SIG_IGN); }

// Where it is ignored, which a program inherits, a child that ends takes its exit status along: a script or a
// picture that came out well would count as failed.
void heedEndsOfChildren() { ::signal(SIGCHLD, SIG_DFL); }

void prepareProcess() {
  openStandardDescriptors();
  ignoreBrokenPipes();
  heedEndsOfChildren();
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

int processIdentifier() { return ::getpid(); }

const std::string& processName() {
#ifdef __GLIBC__
  static const std::string kName = program_invocation_short_name;
#else
  static const std::string kName = getprogname();
#endif
  return kName;
}

std::string programFolder() {
#ifdef __APPLE__
  char path[PATH_MAX];
  std::uint32_t size = sizeof path;
  if (_NSGetExecutablePath(path, &size) != 0) return {};
  return std::filesystem::path(path).parent_path();
#else
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
#endif
}

std::string kernelRelease() {
  utsname names{};
  return ::uname(&names) == 0 ? names.release : "";
}

}  // namespace moxtel
