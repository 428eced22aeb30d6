// Says what is in a smart album and why, for a user who misses a photo. Core thread.
#pragma once

#include <optional>
#include <string>

#include "value/Value.h"

namespace moxtel {

class LibraryDatabases;
class SavedLists;
class SmartAlbums;

// The album's rule in words, how its members were found, and where the saved list and the rule differ; ends
// with a line feed. The album is named by its uuid. Nothing when there is no smart album with it.
std::optional<std::string> explainAlbum(LibraryDatabases& databases, SavedLists& savedLists,
                                        SmartAlbums& smartAlbums, const Value& uuid);

}  // namespace moxtel
