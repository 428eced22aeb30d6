// The JSON about a library and its containers (docs/web-api.md). On the library's thread for long tasks.
#pragma once

#include <string>

#include "web/OpenWebLibrary.h"

namespace moxtel {

// Also of a library that is away. Wants the index for the search. canDecode: pictures that are no JPEGs.
std::string libraryJson(OpenWebLibrary& library, OpenLibrary& open, bool canDecode);

std::string albumsJson(OpenWebLibrary& library, OpenLibrary& open);
std::string eventsJson(OpenWebLibrary& library, OpenLibrary& open);
std::string peopleJson(OpenWebLibrary& library, OpenLibrary& open);
std::string keywordsJson(OpenWebLibrary& library, OpenLibrary& open);
// At most twelve lists with a name in which each word is the beginning of a word.
std::string suggestionsJson(OpenWebLibrary& library, OpenLibrary& open, const std::string& words);

// "Family" for /disk/Family.photolibrary.
std::string nameOfLibraryFolder(const std::string& path);
// "iPhoto", "Aperture" or "Photos"; empty for none.
std::string shownKind(OpenLibrary& open);

}  // namespace moxtel
