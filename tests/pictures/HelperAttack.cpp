// Preloaded into a helper (LD_PRELOAD), as if its picture had taken it over: when the helper begins to write
// its answer, this tries what a helper must not do, and writes the names of what was possible instead.
//
// MOXTEL_ATTACKED names a folder with the file "file" outside the helper's scratch folder.
#include <fcntl.h>
#include <netinet/in.h>
#include <spawn.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>

namespace {

bool connects() {
  const int connection = ::socket(AF_INET, SOCK_STREAM, 0);
  return connection >= 0;
}

bool startsAProgram() {
  char name[] = "/bin/true";
  char* const words[] = {name, nullptr};
  pid_t child = 0;
  return ::posix_spawn(&child, name, nullptr, nullptr, words, nullptr) == 0;
}

// Names are opened through the system call, so that this works the same with every C library.
bool opens(const std::string& path, int flags) {
  return ::syscall(SYS_openat, AT_FDCWD, path.c_str(), flags, 0600) >= 0;
}

std::string whatIsPossible() {
  const char* const folder = std::getenv("MOXTEL_ATTACKED");
  if (!folder) return "no folder";
  const std::string file = std::string(folder) + "/file";
  std::string possible = "tried;";
  if (opens(file, O_RDONLY)) possible += " read";
  if (opens("/etc/passwd", O_RDONLY)) possible += " passwords";
  if (opens("/proc/self/maps", O_RDONLY)) possible += " proc";
  if (opens(file, O_WRONLY)) possible += " write";
  if (opens(file + ".new", O_WRONLY | O_CREAT)) possible += " make";
  if (::truncate(file.c_str(), 0) == 0) possible += " truncate";
  if (::chmod(file.c_str(), 0777) == 0) possible += " chmod";
  if (::unlink(file.c_str()) == 0) possible += " delete";
  if (connects()) possible += " connect";
  if (startsAProgram()) possible += " program";
  if (::fork() >= 0) possible += " fork";
  if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0) possible += " trace";
  if (::kill(::getppid(), 0) == 0) possible += " signal";
  return possible;
}

}  // namespace

extern "C" ssize_t write(int descriptor, const void* bytes, size_t count) {
  if (descriptor != STDOUT_FILENO) return ::syscall(SYS_write, descriptor, bytes, count);
  const std::string possible = whatIsPossible();
  ::syscall(SYS_write, STDOUT_FILENO, possible.data(), possible.size());
  ::_exit(EXIT_SUCCESS);
}
