// Runs a program and makes its system calls fail, controlled by another process through shared memory.
//
//   moxtel-call-faults CONTROL PROGRAM [ARGUMENT…]    CONTROL: a file of a Control's size, mapped by both
//   moxtel-call-faults --calls                        prints names and numbers of the calls it knows
//
// Tracing covers every call, including those inside the C library, in every thread and child process. Exits
// with the program's status (128 plus the signal's number if a signal killed it), and forwards SIGTERM,
// SIGINT, SIGHUP and SIGUSR1.
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <optional>
#include <string>

namespace {

constexpr std::size_t kCalls = 512;

enum Action : std::int64_t { FailInstead = 1, FailAfterwards = 2, Shorten = 3 };
enum Whose : std::int64_t { Server = 0, Children = 1 };

// faultserver.py has the same layout. The controlling process sets "armed" last.
struct Control {
  std::atomic<std::int64_t> armed;  // 1: count calls and inject faults
  std::int64_t call;                // its number; -1: none, only count
  std::int64_t nth;                 // the first one that fails, from 1
  std::int64_t repeat;              // number of consecutive calls that fail; -1: all that follow
  std::int64_t action;
  std::int64_t error;  // errno
  std::int64_t whose;
  std::atomic<std::int64_t> fired;
  std::atomic<std::int64_t> server;  // its process id
  char file[256];                    // not empty: calls whose file has this text in its path, and no others
  char description[256];             // of the last call that failed
  std::int64_t counts[2][kCalls];    // since armed, by Whose and call
};

struct NamedCall {
  const char* name;
  long number;
};

#define CALL(name) \
  { #name, SYS_##name }
constexpr NamedCall kNames[] = {CALL(accept4),
                                CALL(access),
                                CALL(bind),
                                CALL(brk),
                                CALL(clone),
                                CALL(clone3),
                                CALL(close),
                                CALL(connect),
                                CALL(copy_file_range),
                                CALL(dup),
                                CALL(dup2),
                                CALL(dup3),
                                CALL(epoll_create1),
                                CALL(epoll_ctl),
                                CALL(epoll_wait),
                                CALL(eventfd2),
                                CALL(execve),
                                CALL(faccessat),
                                CALL(faccessat2),
                                CALL(fallocate),
                                CALL(fchmod),
                                CALL(fchmodat),
                                CALL(fchown),
                                CALL(fcntl),
                                CALL(fdatasync),
                                CALL(flock),
                                CALL(landlock_add_rule),
                                CALL(landlock_create_ruleset),
                                CALL(landlock_restrict_self),
                                CALL(setitimer),
                                CALL(fstat),
                                CALL(fstatfs),
                                CALL(fsync),
                                CALL(ftruncate),
                                CALL(futex),
                                CALL(getdents64),
                                CALL(getegid),
                                CALL(geteuid),
                                CALL(getgid),
                                CALL(getpid),
                                CALL(getppid),
                                CALL(getrandom),
                                CALL(getresgid),
                                CALL(getresuid),
                                CALL(getrlimit),
                                CALL(getpeername),
                                CALL(get_mempolicy),
                                CALL(set_mempolicy),
                                CALL(getsockname),
                                CALL(getsockopt),
                                CALL(gettid),
                                CALL(getuid),
                                CALL(getcwd),
                                CALL(chdir),
                                CALL(chmod),
                                CALL(inotify_add_watch),
                                CALL(inotify_init1),
                                CALL(inotify_rm_watch),
                                CALL(ioctl),
                                CALL(kill),
                                CALL(link),
                                CALL(listen),
                                CALL(lseek),
                                CALL(lstat),
                                CALL(madvise),
                                CALL(memfd_create),
                                CALL(mkdir),
                                CALL(mkdirat),
                                CALL(mmap),
                                CALL(mprotect),
                                CALL(mremap),
                                CALL(munmap),
                                CALL(nanosleep),
                                CALL(clock_nanosleep),
                                CALL(newfstatat),
                                CALL(open),
                                CALL(openat),
                                CALL(openat2),
                                CALL(pidfd_open),
                                CALL(pipe),
                                CALL(pipe2),
                                CALL(poll),
                                CALL(ppoll),
                                CALL(prctl),
                                CALL(pread64),
                                CALL(preadv),
                                CALL(prlimit64),
                                CALL(pwrite64),
                                CALL(read),
                                CALL(readlink),
                                CALL(readlinkat),
                                CALL(readv),
                                CALL(recvfrom),
                                CALL(recvmsg),
                                CALL(rename),
                                CALL(renameat),
                                CALL(renameat2),
                                CALL(rmdir),
                                CALL(rseq),
                                CALL(rt_sigaction),
                                CALL(rt_sigprocmask),
                                CALL(rt_sigreturn),
                                CALL(rt_sigpending),
                                CALL(rt_sigtimedwait),
                                CALL(sched_getaffinity),
                                CALL(sched_yield),
                                CALL(select),
                                CALL(sendfile),
                                CALL(sendmmsg),
                                CALL(sendmsg),
                                CALL(sendto),
                                CALL(set_robust_list),
                                CALL(set_tid_address),
                                CALL(setitimer),
                                CALL(setpgid),
                                CALL(setrlimit),
                                CALL(setsockopt),
                                CALL(shutdown),
                                CALL(sigaltstack),
                                CALL(socket),
                                CALL(socketpair),
                                CALL(splice),
                                CALL(stat),
                                CALL(statfs),
                                CALL(statx),
                                CALL(symlink),
                                CALL(syncfs),
                                CALL(symlinkat),
                                CALL(sysinfo),
                                CALL(tgkill),
                                CALL(timerfd_create),
                                CALL(timerfd_settime),
                                CALL(umask),
                                CALL(uname),
                                CALL(unlink),
                                CALL(unlinkat),
                                CALL(utimensat),
                                CALL(vfork),
                                CALL(wait4),
                                CALL(waitid),
                                CALL(write),
                                CALL(writev),
                                CALL(close_range),
                                CALL(exit),
                                CALL(exit_group),
                                CALL(restart_syscall),
                                CALL(arch_prctl),
                                CALL(fork),
                                CALL(landlock_create_ruleset),
                                CALL(landlock_add_rule),
                                CALL(landlock_restrict_self),
                                CALL(seccomp),
                                CALL(fadvise64),
                                CALL(flock),
                                CALL(clock_gettime),
                                CALL(gettimeofday),
                                CALL(time),
                                CALL(membarrier),
                                CALL(sched_setaffinity),
                                CALL(getpriority),
                                CALL(setpriority),
                                CALL(ioprio_set),
                                CALL(clock_getres),
                                CALL(fchdir),
                                CALL(lgetxattr),
                                CALL(getxattr),
                                CALL(fgetxattr),
                                CALL(msync),
                                CALL(mincore)};
#undef CALL

const char* nameOf(std::uint64_t number) {
  for (const NamedCall& call : kNames) {
    if (static_cast<std::uint64_t>(call.number) == number) return call.name;
  }
  return "?";
}

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "moxtel-call-faults: %s: %s\n", what, std::strerror(errno));
  std::exit(70);
}

// One traced thread.
struct Tracee {
  bool isServer = false;  // a thread of the program itself, not of a child
  bool hasRun = false;    // a child has called execve; before that it runs the server's code
  bool isLoaded = false;  // the dynamic loader has finished
  bool failsAtExit = false;
  std::int64_t error = 0;
  // What shortening a vector of buffers changed in the thread's memory.
  std::uint64_t changedAt = 0;
  std::uint64_t before = 0;
  // The index of the register whose argument was changed for this call.
  std::optional<std::size_t> changedRegister = std::nullopt;
  std::uint64_t registerBefore = 0;
};

volatile sig_atomic_t program = 0;

void handOn(int signal) {
  if (program > 0) ::kill(program, signal);
}

class Tracer {
 public:
  explicit Tracer(Control& control) : control_(control) {}

  int run(char** command) {
    start(command);
    for (;;) {
      int status = 0;
      const pid_t thread = ::waitpid(-1, &status, __WALL);
      if (thread < 0 && errno == EINTR) continue;
      if (thread < 0) fail("waitpid");
      if (WIFSTOPPED(status)) {
        stopped(thread, status);
        continue;
      }
      tracees_.erase(thread);
      if (thread != program) continue;
      return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
  }

 private:
  void start(char** command) {
    int gate[2];
    if (::pipe2(gate, O_CLOEXEC) != 0) fail("pipe2");
    program = ::fork();
    if (program < 0) fail("fork");
    if (program == 0) {
      char byte = 0;
      if (::read(gate[0], &byte, 1) == 1) ::execvp(command[0], command);
      std::_Exit(127);
    }
    constexpr std::uintptr_t kOptions = PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_TRACEFORK |
                                        PTRACE_O_TRACEVFORK | PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL;
    if (::ptrace(PTRACE_SEIZE, program, nullptr, kOptions) != 0) fail("no process may be traced here");
    // Stops the running thread, so that its calls are traced from now on.
    ::ptrace(PTRACE_INTERRUPT, program, nullptr, nullptr);
    control_.server = program;
    tracees_[static_cast<pid_t>(program)] = {.isServer = true};
    if (::write(gate[1], "x", 1) != 1) fail("write");
    ::close(gate[0]);
    ::close(gate[1]);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGUSR1}) ::signal(signal, handOn);
  }

  Tracee& traceeOf(pid_t thread) {
    const auto found = tracees_.find(thread);
    if (found != tracees_.end()) return found->second;
    std::ifstream facts("/proc/" + std::to_string(thread) + "/status");
    pid_t process = 0;
    for (std::string line; std::getline(facts, line);) {
      if (line.starts_with("Tgid:")) process = std::atoi(line.c_str() + 5);
    }
    return tracees_[thread] = {.isServer = process == program, .isLoaded = true};
  }

  void stopped(pid_t thread, int status) {
    Tracee& tracee = traceeOf(thread);
    const int signal = WSTOPSIG(status);
    const int event = status >> 16;
    if (signal == (SIGTRAP | 0x80)) {
      call(thread, tracee);
      resume(thread, 0);
    } else if (event == PTRACE_EVENT_STOP) {
      const bool isGroupStop =
          signal == SIGSTOP || signal == SIGTSTP || signal == SIGTTIN || signal == SIGTTOU;
      if (isGroupStop) {
        ::ptrace(PTRACE_LISTEN, thread, nullptr, nullptr);
      } else {
        resume(thread, 0);
      }
    } else if (event != 0) {
      if (event == PTRACE_EVENT_EXEC) {
        tracee.hasRun = true;
        tracee.isLoaded = false;
      }
      resume(thread, 0);
    } else {
      resume(thread, signal);
    }
  }

  static void resume(pid_t thread, int signal) {
    ::ptrace(PTRACE_SYSCALL, thread, nullptr, static_cast<std::uintptr_t>(signal));
  }

  void call(pid_t thread, Tracee& tracee) {
    __ptrace_syscall_info info{};
    if (::ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof info, &info) <= 0) return;
    if (info.op == PTRACE_SYSCALL_INFO_ENTRY) {
      enters(thread, tracee, info.entry.nr, info.entry.args);
    } else if (info.op == PTRACE_SYSCALL_INFO_EXIT) {
      leaves(thread, tracee);
    }
  }

  using Arguments = decltype(__ptrace_syscall_info::entry.args);

  void enters(pid_t thread, Tracee& tracee, std::uint64_t number, const Arguments& arguments) {
    if (!tracee.isLoaded) {
      // The loader's last action is to unmap its cache.
      tracee.isLoaded = number == SYS_munmap;
      return;
    }
    // A file may be opened in one step, or name by name.
    if (control_.file[0] != 0 && number == SYS_openat2) number = SYS_openat;
    if (control_.armed != 1 || number >= kCalls) return;
    const Whose whose = tracee.isServer || !tracee.hasRun ? Server : Children;
    if (control_.file[0] != 0 && !isOnChosenFile(thread, number, arguments)) return;
    const std::int64_t count = ++control_.counts[whose][number];
    if (whose != control_.whose || static_cast<std::int64_t>(number) != control_.call) return;
    const bool isPast = control_.repeat >= 0 && count >= control_.nth + control_.repeat;
    if (count >= control_.nth && !isPast) inject(thread, tracee, number, arguments);
  }

  bool isOnChosenFile(pid_t thread, std::uint64_t number, const Arguments& arguments) const {
    const bool isOther = control_.call >= 0 && control_.call != static_cast<std::int64_t>(number);
    return !isOther && described(thread, number, arguments).find(control_.file) != std::string::npos;
  }

  // An event counter: reading and writing it cannot fail.
  static bool isOnCounter(pid_t thread, std::uint64_t number, const Arguments& arguments) {
    return (number == SYS_read || number == SYS_write) &&
           fileOf(thread, arguments[0]).find("[eventfd]") != std::string::npos;
  }

  void inject(pid_t thread, Tracee& tracee, std::uint64_t number, const Arguments& arguments) {
    if (isOnCounter(thread, number, arguments)) return;
    if (control_.action == Shorten) {
      if (!shorten(thread, tracee, number, arguments)) return;
    } else {
      if (number == SYS_brk) {
        // brk fails by returning the unchanged end of the heap.
        if (arguments[0] == 0) return;
        setArgument(thread, tracee, offsetof(user, regs.rdi), arguments[0], 0);
      } else {
        tracee.failsAtExit = true;
        tracee.error = control_.error;
        if (control_.action == FailInstead) skipCall(thread);
      }
    }
    describe(thread, number, arguments);
    ++control_.fired;
  }

  void leaves(pid_t thread, Tracee& tracee) {
    if (tracee.changedAt != 0) {
      put(thread, tracee.changedAt, tracee.before);
      tracee.changedAt = 0;
    }
    if (tracee.changedRegister) {
      setRegister(thread, *tracee.changedRegister, static_cast<std::int64_t>(tracee.registerBefore));
      tracee.changedRegister.reset();
    }
    if (!tracee.failsAtExit) return;
    tracee.failsAtExit = false;
    setResult(thread, -tracee.error);
  }

  // Reduces the requested size to one byte; false if it is not larger.
  bool shorten(pid_t thread, Tracee& tracee, std::uint64_t number, const Arguments& arguments) {
    switch (number) {
      case SYS_read:
      case SYS_pread64:
      case SYS_write:
      case SYS_pwrite64:
      case SYS_recvfrom:
      case SYS_sendto:
        if (arguments[2] <= 1) return false;
        setArgument(thread, tracee, offsetof(user, regs.rdx), arguments[2], 1);
        return true;
      case SYS_getdents64:
        return false;
      case SYS_sendmsg:
        return shortenVector(thread, tracee, get(thread, arguments[1] + offsetof(msghdr, msg_iov)),
                             arguments[1] + offsetof(msghdr, msg_iovlen));
      case SYS_writev:
      case SYS_readv:
        setArgument(thread, tracee, offsetof(user, regs.rdx), arguments[2], 1);
        return shortenBuffer(thread, tracee, arguments[1]);
      default:
        return false;
    }
  }

  // Reduces several buffers to the first one, and one buffer to its first byte.
  bool shortenVector(pid_t thread, Tracee& tracee, std::uint64_t vector, std::uint64_t countAt) {
    const std::uint64_t count = get(thread, countAt);
    if (count == 0) return false;
    if (count == 1) return shortenBuffer(thread, tracee, vector);
    change(thread, tracee, countAt, 1);
    return true;
  }

  bool shortenBuffer(pid_t thread, Tracee& tracee, std::uint64_t vector) {
    const std::uint64_t sizeAt = vector + offsetof(iovec, iov_len);
    if (get(thread, sizeAt) <= 1) return false;
    change(thread, tracee, sizeAt, 1);
    return true;
  }

  static void change(pid_t thread, Tracee& tracee, std::uint64_t at, std::uint64_t word) {
    tracee.changedAt = at;
    tracee.before = get(thread, at);
    put(thread, at, word);
  }

  static std::uint64_t get(pid_t thread, std::uint64_t at) {
    return static_cast<std::uint64_t>(::ptrace(PTRACE_PEEKDATA, thread, at, nullptr));
  }
  static void put(pid_t thread, std::uint64_t at, std::uint64_t word) {
    ::ptrace(PTRACE_POKEDATA, thread, at, word);
  }

  static void skipCall(pid_t thread) { setRegister(thread, offsetof(user, regs.orig_rax), -1); }
  static void setResult(pid_t thread, std::int64_t result) {
    setRegister(thread, offsetof(user, regs.rax), result);
  }
  // Restores the registers after the call; the program expects them unchanged.
  static void setArgument(pid_t thread, Tracee& tracee, std::size_t offset, std::uint64_t before,
                          std::int64_t value) {
    tracee.changedRegister = offset;
    tracee.registerBefore = before;
    setRegister(thread, offset, value);
  }
  static void setRegister(pid_t thread, std::size_t offset, std::int64_t value) {
    ::ptrace(PTRACE_POKEUSER, thread, offset, value);
  }

  static std::string textAt(pid_t thread, std::uint64_t at) {
    char text[128] = {};
    const iovec here{text, sizeof text - 1};
    // Near the end of a page: reads up to the page's end.
    const iovec there{reinterpret_cast<void*>(at),
                      std::min<std::uint64_t>(sizeof text - 1, 4096 - at % 4096)};
    return ::process_vm_readv(thread, &here, 1, &there, 1, 0) > 0 ? text : "";
  }

  // The file of a descriptor argument.
  static std::string fileOf(pid_t thread, std::uint64_t descriptor) {
    char path[128] = {};
    const std::string link = "/proc/" + std::to_string(thread) + "/fd/" + std::to_string(descriptor);
    return ::readlink(link.c_str(), path, sizeof path - 1) > 0 ? std::string(" (") + path + ")" : "";
  }

  static std::string described(pid_t thread, std::uint64_t number, const Arguments& arguments) {
    std::string text = nameOf(number);
    switch (number) {
      case SYS_open:
      case SYS_stat:
      case SYS_lstat:
      case SYS_access:
      case SYS_readlink:
      case SYS_unlink:
      case SYS_mkdir:
      case SYS_rmdir:
      case SYS_statfs:
        text += " " + textAt(thread, arguments[0]);
        break;
      case SYS_openat:
      case SYS_openat2:
      case SYS_newfstatat:
      case SYS_statx:
      case SYS_faccessat:
      case SYS_faccessat2:
      case SYS_readlinkat:
      case SYS_unlinkat:
      case SYS_mkdirat:
        text += " " + textAt(thread, arguments[1]);
        break;
      case SYS_renameat:
        text += " " + textAt(thread, arguments[1]) + " " + textAt(thread, arguments[3]);
        break;
      default:
        text += " " + std::to_string(static_cast<std::int64_t>(arguments[0])) + fileOf(thread, arguments[0]);
        text += " " + std::to_string(static_cast<std::int64_t>(arguments[2]));
    }
    return text;
  }

  void describe(pid_t thread, std::uint64_t number, const Arguments& arguments) {
    std::snprintf(control_.description, sizeof control_.description, "%s",
                  described(thread, number, arguments).c_str());
  }

  Control& control_;
  std::map<pid_t, Tracee> tracees_;
};

Control& mapped(const char* path) {
  const int file = ::open(path, O_RDWR | O_CLOEXEC);
  if (file < 0) fail(path);
  void* const at = ::mmap(nullptr, sizeof(Control), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  if (at == MAP_FAILED) fail(path);
  ::close(file);
  return *static_cast<Control*>(at);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "--calls") == 0) {
    for (const NamedCall& call : kNames) std::printf("%s %ld\n", call.name, call.number);
    return 0;
  }
  if (argc < 3) {
    std::fprintf(stderr, "usage: moxtel-call-faults CONTROL PROGRAM [ARGUMENT…]\n");
    return 2;
  }
  return Tracer(mapped(argv[1])).run(argv + 2);
}
