// The JSON about one photo (docs/web-api.md). On the library's thread for long tasks.
#pragma once

#include <cstdint>
#include <string>

#include "web/OpenWebLibrary.h"

namespace moxtel {

class LibraryFileHandler;

// Empty for a photo that is unknown, hidden or in the trash.
std::string photoJson(OpenWebLibrary& library, OpenLibrary& open, LibraryFileHandler& files,
                      std::int64_t modelId);

}  // namespace moxtel
