// Views that let the queries, which are written for iPhoto's databases, read the one database of a library of
// Photos. Any thread, with the connection to itself.
//
// Everything that the queries see of such a library is in these views: which photos are shown, which
// containers there are, where the files are. A path column may hold several candidates, a line each, best
// first: where an original is only in the cloud, a smaller picture can be shown.
//
// Source of the format: libraries of Photos 2 to 11, whose tables are in tools/makelibrary/schema.
#pragma once

#include <cstdint>

#include "library/database/SchemaAdapter.h"

namespace moxtel {

// Frames of a burst that is shown as one photo are always left out. Photos in the trash are, too, unless
// they are kept, marked as such.
enum class HiddenPhotos : std::uint8_t { LeaveOut, Keep, KeepWithTrash };

// Tables of iPhoto for which Photos has nothing that is read.
inline constexpr const char* kViewsOfNothing[] = {
    "CREATE TEMP VIEW RKPlaceForVersion AS SELECT 0 AS rowid, NULL AS versionId, NULL AS placeId WHERE 0",
    ("CREATE TEMP VIEW RKPlace AS SELECT 0 AS rowid, NULL AS modelId, NULL AS type, NULL AS defaultName "
     "WHERE 0"),
    "CREATE TEMP VIEW RKVolume AS SELECT 0 AS rowid, NULL AS uuid, NULL AS name WHERE 0"};

// For Photos.sqlite, of Photos 5 and later. Tables and columns that change with the version are found by
// their entities' numbers; no name from the database becomes part of a statement.
AdaptedSchema adaptPhotos5(sqlite3* database, HiddenPhotos hidden);

// For photos.db, of Photos 2 to 4. Besides views, there are two tables with indexes, without which each
// event would read all photos.
AdaptedSchema adaptPhotos4(sqlite3* database, HiddenPhotos hidden);

}  // namespace moxtel
