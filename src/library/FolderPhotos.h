// The photos below a folder, and the folders in the trash. Core thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "value/Value.h"

namespace moxtel {

class LibraryDatabases;

enum class HiddenMembers : std::uint8_t { Included, LeftOut };

// The model ids, ascending and each once, of the live photos (shown in the library, not in the trash) of the
// folder's regular albums and projects and of those of all folders below it. Nothing when there is no such
// folder; for a project its own photos.
std::optional<std::vector<std::int64_t>> photosOfFolder(LibraryDatabases& databases, const Value& uuid,
                                                        HiddenMembers hidden);

// The uuids of the folders and projects that are in the trash, or in a folder that is.
std::unordered_set<std::string> foldersInTrash(LibraryDatabases& databases);

}  // namespace moxtel
