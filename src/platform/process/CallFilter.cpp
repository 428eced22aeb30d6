#include "platform/process/CallFilter.h"

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace moxtel {

namespace {

#if defined(__x86_64__)
constexpr std::uint32_t kArchitecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr std::uint32_t kArchitecture = AUDIT_ARCH_AARCH64;
#else
#error "CallFilter.cpp does not know this architecture's number"
#endif

constexpr std::uint32_t kAllowed[] = {
    // memory
    SYS_brk,
    SYS_mmap,
    SYS_munmap,
    SYS_mremap,
    SYS_mprotect,
    SYS_madvise,
    SYS_membarrier,
    // threads; clone() is below
    SYS_futex,
    SYS_set_robust_list,
    SYS_rseq,
    SYS_set_tid_address,
    SYS_gettid,
    SYS_sched_yield,
    SYS_sched_getaffinity,
    SYS_getcpu,
    SYS_exit,
    SYS_exit_group,
    // time
    SYS_clock_gettime,
    SYS_clock_getres,
    SYS_clock_nanosleep,
    SYS_nanosleep,
    SYS_gettimeofday,
    SYS_times,
    SYS_getrusage,
    // its own signals
    SYS_rt_sigaction,
    SYS_rt_sigprocmask,
    SYS_rt_sigreturn,
    SYS_sigaltstack,
    SYS_restart_syscall,
    // facts about itself and the system
    SYS_getpid,
    SYS_getppid,
    SYS_getuid,
    SYS_geteuid,
    SYS_getgid,
    SYS_getegid,
    SYS_uname,
    SYS_sysinfo,
    SYS_getrandom,
    SYS_getcwd,
    // open files
    SYS_read,
    SYS_write,
    SYS_readv,
    SYS_writev,
    SYS_pread64,
    SYS_pwrite64,
    SYS_lseek,
    SYS_close,
    SYS_dup,
    SYS_dup3,
    SYS_fstat,
    SYS_ftruncate,
    SYS_fallocate,
    SYS_fadvise64,
    SYS_fsync,
    SYS_fdatasync,
    SYS_getdents64,
    SYS_fstatfs,
    SYS_ppoll,
    // files by name: which ones, Landlock decides
    SYS_openat,
    SYS_newfstatat,
    SYS_statx,
    SYS_statfs,
    SYS_faccessat,
    SYS_faccessat2,
    SYS_readlinkat,
    SYS_unlinkat,
    SYS_mkdirat,
#if defined(__x86_64__)
    // the old forms of some of these, without "at"
    SYS_access,
    SYS_readlink,
    SYS_unlink,
    SYS_rmdir,
    SYS_mkdir,
    SYS_dup2,
    SYS_poll,
    SYS_time,
#endif
};

// What the start of a program needs besides.
constexpr std::uint32_t kAllowedForPrograms[] = {
    SYS_execve,
#if defined(__x86_64__)
    SYS_arch_prctl,
#endif
};

// The offsets of the low halves, on little-endian machines, of what a call is judged by.
constexpr std::uint32_t kNumber = offsetof(seccomp_data, nr);
constexpr std::uint32_t argument(int index) {
  return static_cast<std::uint32_t>(offsetof(seccomp_data, args)) + 8 * static_cast<std::uint32_t>(index);
}

// A program that reads a call's number and arguments and decides about it (Linux, seccomp_filter.rst).
class FilterProgram final {
 public:
  FilterProgram() {
    load(offsetof(seccomp_data, arch));
    add(BPF_JMP | BPF_JEQ | BPF_K, kArchitecture, 1, 0);
    add(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS);
    load(kNumber);
  }
  void allow(std::uint32_t call) {
    add(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1);
    add(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
  }
  // If (argument & mask) == value.
  void allowIf(std::uint32_t call, std::uint32_t argument, std::uint32_t mask, std::uint32_t value) {
    add(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 5);
    load(argument);
    add(BPF_ALU | BPF_AND | BPF_K, mask);
    add(BPF_JMP | BPF_JEQ | BPF_K, value, 0, 1);
    add(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    load(kNumber);
  }
  bool install() {
    add(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS);
    const sock_fprog program{static_cast<unsigned short>(code_.size()), code_.data()};
    // Not by seccomp(2), which a service's own filter may refuse.
    return ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
  }

 private:
  void load(std::uint32_t offset) { add(BPF_LD | BPF_W | BPF_ABS, offset); }
  void add(std::uint16_t code, std::uint32_t operand, std::uint8_t ifTrue = 0, std::uint8_t ifFalse = 0) {
    code_.push_back({code, ifTrue, ifFalse, operand});
  }

  std::vector<sock_filter> code_;
};

}  // namespace

bool restrictCalls(Programs programs) {
  constexpr std::uint32_t kAllBits = UINT32_MAX;
  FilterProgram filter;
  for (const std::uint32_t call : kAllowed) filter.allow(call);
  if (programs == Programs::One)
    for (const std::uint32_t call : kAllowedForPrograms) filter.allow(call);
  // A thread, not a process. The newer clone3() has its flags in memory, where a filter cannot read them.
  filter.allowIf(SYS_clone, argument(0), CLONE_THREAD, CLONE_THREAD);
  // Without F_SETOWN, which sends signals to other processes.
  for (const int command : {F_GETFD, F_SETFD, F_GETFL, F_DUPFD_CLOEXEC})
    filter.allowIf(SYS_fcntl, argument(1), kAllBits, static_cast<std::uint32_t>(command));
  // Its own limits, not those of another process.
  filter.allowIf(SYS_prlimit64, argument(0), kAllBits, 0);
  return filter.install();
}

}  // namespace moxtel
