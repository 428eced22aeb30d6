#include "platform/process/Pipe.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>

namespace moxtel {

void setNonBlocking(int fd) { ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK); }

Pipe makePipe(PipeBlocking blocking) {
  std::array<int, 2> ends{-1, -1};
#ifdef __linux__
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) return {};
#else
  if (::pipe(ends.data()) != 0) return {};
  for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
#endif
  if (blocking == PipeBlocking::NonBlocking) {
    for (const int end : ends) setNonBlocking(end);
  }
  return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

}  // namespace moxtel
