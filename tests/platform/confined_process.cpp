// Usage: confined_process memory | time | file | end, or confined_process DEED FOLDER LANDLOCK [PATH].
//
// Confines itself to 512 MB, one second, files of 4096 bytes, the folder, and Landlock's rights up to a
// version. Then it exceeds a bound, waits for its parent's end, or tries the deed. Exit status 0: done;
// 3: refused; 5: the kernel does not confine it so.
#include <dirent.h>
#include <fcntl.h>
#include <linux/bpf.h>
#include <signal.h>
#include <spawn.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "platform/process/Confinement.h"

namespace {

constexpr std::size_t kMegabyte = std::size_t{1} << 20;
constexpr int kRefused = 3;
constexpr int kNotInThisKernel = 5;

// Writes to all of it, because the kernel allocates memory at the first write.
int eatMemory() {
  std::vector<char*> eaten;
  try {
    for (;;) eaten.push_back(static_cast<char*>(std::memset(new char[kMegabyte], 1, kMegabyte)));
  } catch (const std::bad_alloc&) {
    return eaten.size() > 100 && eaten.size() < 512 ? kRefused : 1;
  }
}

int eatTime() {
  volatile bool goesOn = true;
  while (goesOn) {
  }
  return 1;
}

int writeMuch() {
  const int file = ::open("written", O_WRONLY | O_CREAT | O_TRUNC, 0600);  // NOLINT
  const std::vector<char> bytes(5000, 'x');
  if (::write(file, bytes.data(), bytes.size()) != 4096) return 1;
  return ::write(file, bytes.data(), bytes.size()) < 0 && errno == EFBIG ? kRefused : 1;
}

int waitForParent() {
  for (;;) ::pause();
}

int spawnTrue() {
  char name[] = "/bin/true";
  char* const words[] = {name, nullptr};
  pid_t child = 0;
  return ::posix_spawn(&child, name, nullptr, nullptr, words, nullptr) == 0 ? 0 : -1;
}

int execTrue() { return ::execl("/bin/true", "true", nullptr); }

int runThread() {
  int result = -1;
  std::thread([&] { result = 0; }).join();
  return result;
}

int lowerParentsLimit() {
  const rlimit none{1, 1};
  return ::prlimit(::getppid(), RLIMIT_NOFILE, &none, nullptr);
}

// Each gives a negative number if it is refused.
std::map<std::string, std::function<int(const char* path)>> deeds(const std::string& folder) {
  const std::string inside = folder + "/inside";
  return {
      {"read", [](const char* path) { return ::open(path, O_RDONLY); }},
      {"list", [](const char* path) { return ::opendir(path) ? 0 : -1; }},
      {"write", [](const char* path) { return ::open(path, O_WRONLY); }},
      {"make", [](const char* path) { return ::open(path, O_WRONLY | O_CREAT, 0600); }},
      {"mkdir", [](const char* path) { return ::mkdir(path, 0700); }},
      {"truncate", [](const char* path) { return ::truncate(path, 0); }},
      {"delete", [](const char* path) { return ::unlink(path); }},
      {"chmod", [](const char* path) { return ::chmod(path, 0777); }},
      {"touch", [](const char* path) { return ::utimes(path, nullptr); }},
      {"link", [inside](const char* path) { return ::link(inside.c_str(), path); }},
      {"rename", [inside](const char* path) { return ::rename(inside.c_str(), path); }},
      {"socket", [](const char*) { return ::socket(AF_INET, SOCK_STREAM, 0); }},
      {"socketpair",
       [](const char*) {
         int ends[2];
         return ::socketpair(AF_UNIX, SOCK_STREAM, 0, ends);
       }},
      {"exec", [](const char*) { return execTrue(); }},
      {"fork", [](const char*) { return ::fork(); }},
      {"vfork", [](const char*) { return spawnTrue(); }},
      {"trace", [](const char*) { return static_cast<int>(::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr)); }},
      {"kill", [](const char*) { return ::kill(::getppid(), 0); }},
      {"own", [](const char*) { return ::fcntl(STDOUT_FILENO, F_SETOWN, ::getppid()); }},
      {"limits", [](const char*) { return lowerParentsLimit(); }},
      {"message", [](const char*) { return ::msgget(IPC_PRIVATE, 0600); }},
      {"bpf", [](const char*) { return static_cast<int>(::syscall(SYS_bpf, BPF_PROG_LOAD, nullptr, 0)); }},
      {"namespace", [](const char*) { return ::unshare(CLONE_NEWUSER); }},
      {"thread", [](const char*) { return runThread(); }},
  };
}

int tryDeed(const std::string& deed, const std::string& folder, int landlock, const char* path) {
  const auto known = deeds(folder);
  const auto confinement = moxtel::confineThisProcess({512 * kMegabyte, 1, 4096}, {{}, folder}, landlock);
  if (deed == "landlock") return confinement.landlock == landlock ? 0 : kNotInThisKernel;
  if (deed == "filter") return confinement.filtersCalls ? 0 : kNotInThisKernel;
  return known.at(deed)(path) < 0 ? kRefused : 0;
}

int exceed(const std::string& bound) {
  moxtel::confineThisProcess({512 * kMegabyte, 1, 4096}, {{}, "."});
  if (bound == "memory") return eatMemory();
  if (bound == "time") return eatTime();
  if (bound == "file") return writeMuch();
  return ::write(STDOUT_FILENO, "confined\n", 9) == 9 ? waitForParent() : 2;
}

}  // namespace

int main(int count, char** words) {
  int status = 2;
  if (count == 2) status = exceed(words[1]);
  if (count >= 4) status = tryDeed(words[1], words[2], std::atoi(words[3]), count > 4 ? words[4] : "");
  // Skips what sanitizers do at the exit: they make calls that the confinement refuses.
  std::_Exit(status);
}
