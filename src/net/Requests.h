// What the connection and the dispatch of commands both know about requests.
#pragma once

#include "plist/KeyedArchive.h"

namespace moxtel {

// Real requests, of at most 4096 bytes, stay far below. A hostile one that multiplies by sharing values is
// rejected before anything prints it.
inline constexpr ArchiveLimits kRequestLimits{.depth = 64, .values = 4096};

}  // namespace moxtel
