// Restricts which system calls the calling process may make, with the kernel's seccomp(2).
#pragma once

namespace moxtel {

// From now on only the calls succeed that a program needs to compute, to read and write files and to use
// threads. Every other call fails with ENOSYS, as on a kernel without it, so that libraries use another way:
// there are no sockets, no new processes and programs, no tracing, no signals to other processes, and no
// changes of a file's owner, mode or dates. Not undone again. Needs PR_SET_NO_NEW_PRIVS, and holds for this
// thread and those that it starts. False where the kernel has no filters: then nothing is restricted.
//
// With Programs::One the process may also be replaced by a program, which is restricted in the same way.
enum class Programs : unsigned char { None, One };
bool restrictCalls(Programs programs = Programs::None);

}  // namespace moxtel
