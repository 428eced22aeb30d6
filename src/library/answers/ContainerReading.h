// Reads the folders, events and albums of a library as one tree. On the thread of the databases.
#pragma once

#include <vector>

#include "library/answers/LibraryLists.h"

namespace moxtel {

class LibraryDatabases;

// What a user made, without counts, key photos and dates: parents before their contents, those in the user's
// order. Nothing that is in the trash. A container whose parents lead nowhere, or in a circle, is at the top.
std::vector<LibraryContainer> readContainers(LibraryDatabases& databases);

}  // namespace moxtel
