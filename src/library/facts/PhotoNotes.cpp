#include "library/facts/PhotoNotes.h"

#include "library/database/LibraryDatabases.h"
#include "library/facts/FactColumns.h"

namespace moxtel {

namespace {

// CROSS JOIN: the notes first, which are few.
constexpr SqlText kNotesOfPhotos =
    "SELECT v.uuid,n.note FROM RKNote n CROSS JOIN RKVersion v WHERE v.uuid = n.attachedToUuid AND "
    "+v.versionNumber != 0 ORDER BY v.modelId";

}  // namespace

void readPhotoNotes(LibraryDatabases& databases,
                    const std::function<void(const std::string& photo, const std::string& note)>& take) {
  Query row = databases.runUnlogged(DatabaseFile::Library, kNotesOfPhotos, {});
  while (row.step()) take(textOf(row, 0), textOf(row, 1));
}

}  // namespace moxtel
