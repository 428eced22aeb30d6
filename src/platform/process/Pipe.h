// A pipe that no child process inherits.
#pragma once

#include "platform/files/FileDescriptor.h"

namespace moxtel {

struct Pipe {
  FileDescriptor readEnd;
  FileDescriptor writeEnd;
};

enum class PipeBlocking : unsigned char { Blocking, NonBlocking };

// Both ends are close-on-exec. On failure both ends are empty and errno says why.
Pipe makePipe(PipeBlocking blocking);

void setNonBlocking(int fd);

}  // namespace moxtel
