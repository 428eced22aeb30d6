// What Properties.apdb says of photos: captions, IPTC, camera and exposure. On the thread of the databases.
#pragma once

#include <cstdint>
#include <vector>

#include "library/facts/PhotoFacts.h"

namespace moxtel {

class LibraryDatabases;

// Fills in the properties of photos with ascending model ids from first through last. False when a database
// could not be read.
bool addProperties(LibraryDatabases& databases, std::int64_t first, std::int64_t last,
                   std::vector<PhotoFacts>& photos);

// The text without directional isolates (U+2066 to U+2069) if some of them have no counterpart, which older
// programs leave in texts that they cut.
std::string withoutStrayIsolates(std::string text);

}  // namespace moxtel
