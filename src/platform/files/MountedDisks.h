// The disks that may have a user's files. Any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace moxtel {

// The kernel's table of mounted file systems (/proc/self/mountinfo); empty if it cannot be read.
std::string mountTable();

// The folders at which the table's disks are mounted, each once, in its order. Left out are the system's own
// disks, file systems without files of a user, and network shares: looking at a share whose server is away
// blocks.
std::vector<std::string> mountedDisks(std::string_view table);

}  // namespace moxtel
