// The files that this process has open and locked as databases. Closing any other descriptor of such a file
// would drop its POSIX locks (fcntl(2)), so whoever is about to open a file whose name comes from a library
// asks here first. Any thread.
#pragma once

#include "platform/files/Files.h"

namespace moxtel {

// The file of an open descriptor, until removeLockedFile(). Does nothing for a descriptor that is not open.
void addLockedFile(int descriptor);
// Before the descriptor is closed. Does nothing for one that was not added.
void removeLockedFile(int descriptor);
// Whether the attributes are those of one of these files, by whatever name.
bool isLockedFile(const FileStamp& file);

}  // namespace moxtel
