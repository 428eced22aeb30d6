// The faces on photos with their rectangles. On the thread of the databases.
//
// Faces.db has rectangles in the stored pixels of the original; RKVersionFaceContent has those in an edited
// picture, which may be stale and count only where it is cropped; Photos keeps squares in the displayed
// picture.
#pragma once

#include <cstdint>
#include <vector>

#include "library/facts/PhotoFacts.h"

namespace moxtel {

class FactNames;
class LibraryDatabases;

// Fills in the faces of photos with ascending model ids from first through last. False when a database could
// not be read.
bool addFaces(LibraryDatabases& databases, FactNames& names, std::int64_t first, std::int64_t last,
              std::vector<PhotoFacts>& photos);

}  // namespace moxtel
