// What helps a user whose library cannot be read: a command that permits it, or the chapter about a Mac's
// disk that explains the case. Core thread.
#pragma once

#include <string>
#include <vector>

#include "platform/files/MacPartitions.h"

namespace moxtel {

// Sentences, each after a blank; empty where nothing is known that helps. The folder is a library, or a file
// or folder in it, or one above it, which is searched for a few seconds; it is not changed.
std::string adviceAboutFolder(const std::string& folder,
                              const std::vector<MacPartition>& unmounted = unmountedMacPartitions());

// A command for root that lets a user read the library and enter the folders above it. Empty if this process
// may read all of them already.
std::string commandThatPermits(const std::string& library, const std::string& user);

}  // namespace moxtel
