#include <initializer_list>
#include <string>
#include <utility>

#include "library/kinds/PhotosViews.h"
#include "library/kinds/SchemaNames.h"

namespace moxtel {

namespace {

struct NeededTable {
  const char* name;
  std::initializer_list<const char*> columns;
};
const NeededTable kTables[] = {
    {"RKVersion",
     {"uuid", "modelId", "name", "fileName", "versionNumber", "masterUuid", "orientation", "adjustmentUuid",
      "isInTrash", "isHidden", "showInLibrary", "type", "momentUuid", "latitude", "longitude",
      "extendedDescription"}},
    {"RKMaster", {"uuid", "imagePath", "fileIsReference", "isTrulyRaw", "alternateMasterUuid"}},
    {"RKAlbum", {"uuid", "name", "modelId", "albumType", "albumSubclass", "folderUuid", "isInTrash"}},
    {"RKAlbumVersion", {"albumId", "versionId"}},
    {"RKFolder", {"uuid", "name", "modelId", "folderType", "parentFolderUuid", "isInTrash"}},
    {"RKMoment", {"uuid", "modelId", "startDate", "endDate"}},
    {"RKPerson", {"uuid", "name", "modelId", "representativeFaceId", "mergeTargetPersonId"}},
    {"RKFace", {"modelId", "personId", "imageModelId"}},
    {"RKModelResource", {"modelId", "attachedModelType", "attachedModelId", "resourceType", "isOnDisk"}},
    {"RKCustomSortOrder", {"containerUuid", "objectUuid", "orderNumber"}}};

// photos.db has no index for the members of an album, nor for the photos of a moment.
constexpr const char* kHelperSteps[][2] = {
    {"CREATE TABLE AlbumMember (modelId INTEGER PRIMARY KEY, versionId INTEGER, albumId INTEGER)", ""},
    {"INSERT INTO AlbumMember VALUES (?,?,?)", "SELECT modelId, versionId, albumId FROM main.RKAlbumVersion"},
    {"CREATE INDEX MembersOfAlbum ON AlbumMember (albumId, versionId)", ""},
    {"CREATE INDEX AlbumsOfMember ON AlbumMember (versionId, albumId)", ""},
    {"CREATE TABLE EventOfPhoto (photo INTEGER PRIMARY KEY, event TEXT)", ""},
    {"INSERT INTO EventOfPhoto VALUES (?,?)",
     "SELECT modelId, momentUuid FROM main.RKVersion WHERE momentUuid IS NOT NULL"},
    {"CREATE INDEX PhotosOfEvent ON EventOfPhoto (event, photo)", ""}};
constexpr const char* kAlbumMembers =
    "CREATE TEMP VIEW RKAlbumVersion AS SELECT modelId AS rowid, modelId, versionId, albumId FROM "
    "helper.AlbumMember";

// The files in which an edited picture, and the picture made from a RAW master, are kept. The latter is what
// iPhoto has as the preview of each RAW photo.
constexpr const char* kRendered =
    "main.RKModelResource r WHERE r.attachedModelId = v.modelId AND r.attachedModelType = 2 AND "
    "r.resourceType = 4 AND r.resourceTag = v.adjustmentUuid AND r.isOnDisk = 1";
constexpr const char* kDeveloped =
    "main.RKMaster w JOIN main.RKModelResource r ON r.attachedModelId = w.modelId WHERE w.uuid = "
    "v.masterUuid AND w.isTrulyRaw = 1 AND r.attachedModelType = 1 AND r.resourceType = 4 AND r.isOnDisk = 1";
constexpr const char* kOutput =
    "printf('%02x/%02x/fullsizeoutput_%x', r.modelId >> 8 & 255, r.modelId >> 16, r.modelId) || CASE r.UTI "
    "WHEN 'public.heic' THEN '.heic' WHEN 'public.tiff' THEN '.tiff' WHEN 'public.png' THEN '.png' WHEN "
    "'com.apple.quicktime-movie' THEN '.mov' ELSE '.jpeg' END || '\n'";
// Of a RAW and a JPEG that were taken together, each a master.
constexpr const char* kOtherOfPair =
    "coalesce('\n' || (SELECT 'Masters/' || o.imagePath FROM main.RKMaster o WHERE o.uuid = "
    "m.alternateMasterUuid AND o.fileIsReference = 0), '')";

// type 8: a movie. orientation: Exif's numbers.
constexpr const char* kVersions =
    "CREATE TEMP VIEW RKVersion AS SELECT v.modelId AS rowid, v.modelId AS modelId, v.uuid AS uuid, v.name "
    "AS name, "
    "v.fileName AS fileName, 1 AS versionNumber, v.masterUuid AS masterUuid, v.masterId AS masterId, e.event "
    "AS "
    "projectUuid, v.imageTimeZoneName AS imageTimeZoneName, +v.imageDate AS imageDate, v.mainRating AS "
    "mainRating, "
    "v.isHidden AS isHidden, v.isFavorite AS isFlagged, v.colorLabelIndex AS colorLabelIndex, v.masterHeight "
    "AS "
    "masterHeight, v.masterWidth AS masterWidth, v.processedHeight AS processedHeight, v.processedWidth AS "
    "processedWidth, CASE v.orientation WHEN 6 THEN 90 WHEN 3 THEN 180 WHEN 8 THEN 270 ELSE 0 END AS "
    "rotation, "
    "EXISTS (SELECT 1 FROM {RENDERED}) OR EXISTS (SELECT 1 FROM {DEVELOPED}) AS hasAdjustments, "
    "EXISTS (SELECT 1 FROM {RENDERED}) AS hasEnabledAdjustments, v.createDate AS createDate, +v.isInTrash AS "
    "isInTrash, "
    "v.latitude AS exifLatitude, v.longitude AS exifLongitude, "
    "CASE "
    "v.type WHEN 8 THEN '0' END AS videoPosterFramePoint, 1 AS showInLibrary FROM main.RKVersion v LEFT JOIN "
    "helper.EventOfPhoto e ON e.photo = v.modelId WHERE {SHOWN}";

// Where columns of a UNION ALL have the same affinity, none by a sign or that of a CAST, SQLite looks for a
// folder in each part by its index; else it makes all rows first.
constexpr const char* kFolders =
    "CREATE TEMP VIEW RKFolder AS SELECT modelId AS rowid, modelId, uuid, +folderType AS folderType, +name "
    "AS "
    "name, +parentFolderUuid AS parentFolderUuid, NULL AS implicitAlbumUuid, +posterVersionUuid AS "
    "posterVersionUuid, NULL AS versionCount, NULL AS minImageDate, NULL AS maxImageDate, +folderPath AS "
    "folderPath, +isInTrash AS isInTrash, +isHiddenWhenEmpty AS isHiddenWhenEmpty, +isMagic AS isMagic, "
    "+sortKeyPath AS sortKeyPath, +sortAscending AS sortAscending FROM main.RKFolder WHERE folderType = 1 "
    "UNION "
    "ALL SELECT m.modelId, m.modelId, m.uuid, 2, NULL, 'AllProjectsItem', NULL, NULL, NULL, +m.startDate, "
    "+m.endDate, '', 0, 0, 0, NULL, 1 FROM main.RKMoment m WHERE EXISTS (SELECT 1 FROM helper.EventOfPhoto e "
    "JOIN main.RKVersion v ON v.modelId = e.photo WHERE e.event = m.uuid AND {SHOWN})";

constexpr const char* kOtherViews[] = {
    "CREATE TEMP VIEW RKAlbum AS SELECT modelId AS rowid, modelId, uuid, albumType, albumSubclass, name, "
    "folderUuid, queryFolderUuid, (SELECT v.uuid FROM main.RKVersion v WHERE v.uuid = posterVersionUuid AND "
    "{SHOWN}) AS posterVersionUuid, NULL AS versionCount, isInTrash, isMagic, sortKeyPath, sortAscending, "
    "queryData FROM main.RKAlbum",
    // The candidates that follow are there for an original that is only in the cloud.
    "CREATE TEMP VIEW RKMaster AS SELECT m.modelId AS rowid, m.modelId AS modelId, m.uuid AS uuid, CASE "
    "m.fileIsReference WHEN 1 THEN m.imagePath ELSE 'Masters/' || m.imagePath || {OTHER_OF_PAIR} || "
    "coalesce('\n' || (SELECT "
    "{THUMBNAIL} || '\n' || {MINI} FROM main.RKVersion v WHERE v.masterUuid = m.uuid ORDER BY v.modelId "
    "LIMIT 1), "
    "'') END AS imagePath, m.fileIsReference AS fileIsReference, m.volumeId AS fileVolumeUuid, m.fileName AS "
    "fileName, m.originalFileName AS originalFileName, CASE m.isTrulyRaw WHEN 1 THEN 1 ELSE 0 END AS "
    "isTrulyRaw, m.isMissing AS isInCloud, 0 AS isMissing, 0 AS isInTrash, NULL AS type, m.duration AS "
    "duration, m.alternateMasterUuid AS alternateMasterUuid FROM main.RKMaster m",
    "CREATE TEMP VIEW RKNote AS SELECT 0 AS rowid, NULL AS attachedToUuid, NULL AS note WHERE 0",
    "CREATE TEMP VIEW RKCustomSortOrder AS SELECT modelId AS rowid, containerUuid, objectUuid, orderNumber "
    "FROM "
    "main.RKCustomSortOrder WHERE containerUuid != 'AllProjectsItem' UNION ALL SELECT modelId, "
    "'AllProjectsItem', uuid, CAST(startDate / 60 AS INTEGER) FROM main.RKMoment",
    "CREATE TEMP VIEW RKImageProxyState AS SELECT v.modelId AS rowid, v.modelId AS modelId, v.modelId AS "
    "versionId, "
    "v.uuid AS versionUuid, {THUMBNAIL} || '\n' || {MINI} AS thumbnailPath, {MINI} || '\n' || {THUMBNAIL} AS "
    "miniThumbnailPath, NULL AS faceTilePath, coalesce((SELECT 'resources/media/version/' || {OUTPUT} FROM "
    "{RENDERED} LIMIT 1), '') || coalesce((SELECT 'resources/media/master/' || {OUTPUT} FROM {DEVELOPED} "
    "LIMIT 1), '') || {THUMBNAIL} || '\n' || {MINI} AS fullSizePreviewPath, NULL AS "
    "fullSizePreviewUpToDate FROM main.RKVersion v",
    "CREATE TEMP VIEW RKIptcProperty AS SELECT modelId AS rowid, modelId, modelId AS versionId, "
    "'Caption/Abstract' AS propertyKey, modelId AS stringId FROM main.RKVersion WHERE extendedDescription IS "
    "NOT "
    "NULL",
    "CREATE TEMP VIEW RKUniqueString AS SELECT modelId AS rowid, modelId, extendedDescription AS "
    "stringProperty "
    "FROM main.RKVersion",
    "CREATE TEMP VIEW RKExifStringProperty AS SELECT 0 AS rowid, NULL AS versionId, NULL AS propertyKey, "
    "NULL AS "
    "stringId WHERE 0",
    // What rules ask for: positions, and who has a named face.
    "CREATE TEMP VIEW RKExifNumberProperty AS SELECT modelId AS rowid, modelId AS versionId, 'Latitude' AS "
    "propertyKey, latitude AS numberProperty FROM main.RKVersion WHERE latitude IS NOT NULL UNION ALL SELECT "
    "modelId, modelId, 'Longitude', longitude FROM main.RKVersion WHERE longitude IS NOT NULL",
    "CREATE TEMP VIEW RKVersionFaceContent AS SELECT f.modelId AS rowid, f.imageModelId AS versionId, 1 AS "
    "isNamed FROM main.RKFace f JOIN main.RKPerson p ON p.modelId = f.personId WHERE p.name <> '' AND "
    "p.mergeTargetPersonId IS NULL",
    "CREATE TEMP VIEW RKOtherProperty AS SELECT 0 AS rowid, NULL AS versionId, NULL AS propertyKey, NULL AS "
    "stringId WHERE 0",
    "CREATE TEMP VIEW RKDetectedFace AS SELECT f.modelId AS rowid, f.modelId AS modelId, v.masterUuid AS "
    "masterUuid, f.personId AS faceKey, (SELECT count(*) FROM main.RKFace o WHERE o.imageModelId = "
    "f.imageModelId "
    "AND o.modelId < f.modelId) AS faceIndex, (SELECT "
    "printf('resources/media/face/%02x/%02x/facetile_%x.jpeg', r.modelId >> 8 & 255, r.modelId >> 16, "
    "r.modelId) FROM main.RKModelResource r WHERE r.attachedModelId = f.modelId AND r.attachedModelType = 5 "
    "AND r.resourceType = 6 LIMIT 1) AS tilePath, f.centerX AS centerX, f.centerY AS centerY, f.size AS size "
    "FROM "
    "main.RKFace f JOIN main.RKVersion v ON v.modelId = f.imageModelId WHERE {SHOWN}",
    "CREATE TEMP VIEW RKFaceName AS SELECT rowid, rowid AS modelId, uuid, name, coalesce(keyVersionUuid, "
    "firstVersionUuid) AS keyVersionUuid, rowid AS faceKey FROM (SELECT p.modelId AS rowid, p.uuid AS uuid, "
    "p.name "
    "AS name, (SELECT v.uuid FROM main.RKFace f JOIN main.RKVersion v ON v.modelId = f.imageModelId WHERE "
    "f.modelId = p.representativeFaceId AND {SHOWN}) AS keyVersionUuid, (SELECT v.uuid FROM main.RKFace f "
    "JOIN "
    "main.RKVersion v ON v.modelId = f.imageModelId WHERE f.personId = p.modelId AND {SHOWN} ORDER BY "
    "f.modelId "
    "LIMIT 1) AS firstVersionUuid FROM main.RKPerson p WHERE p.name <> '' AND p.mergeTargetPersonId IS NULL) "
    "WHERE "
    "firstVersionUuid IS NOT NULL"};

// Tables of some versions, or of none.
constexpr const char* kKeywords =
    "CREATE TEMP VIEW RKKeyword AS SELECT modelId AS rowid, modelId, name, searchName, NULL AS parentId FROM "
    "main.RKKeyword";
constexpr const char* kNoKeywords =
    "CREATE TEMP VIEW RKKeyword AS SELECT 0 AS rowid, NULL AS modelId, NULL AS name, NULL AS searchName, "
    "NULL "
    "AS parentId WHERE 0";
constexpr const char* kNoKeywordsOfPhotos =
    "CREATE TEMP VIEW RKKeywordForVersion AS SELECT 0 AS rowid, NULL AS versionId, NULL AS keywordId WHERE 0";

std::string derivative(const std::string& size) {
  return "printf('resources/proxies/derivatives/%02x/%02x/%x/%s_" + size +
         "_%x.jpg', v.modelId >> 8 & 255, v.modelId >> 16, v.modelId, v.adjustmentUuid, v.modelId)";
}

// libraryVersion is 2622 in Photos 2, 3301 in Photos 3, 4016 or 4025 in Photos 4.
std::string versionOf(sqlite3* database) {
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v3(database, "SELECT value FROM main.LiGlobals WHERE keyPath = 'libraryVersion'", -1,
                     SQLITE_PREPARE_NO_VTAB, &statement, nullptr);
  const bool found = statement && sqlite3_step(statement) == SQLITE_ROW;
  const int thousands = found ? sqlite3_column_int(statement, 0) / 1000 : 0;
  sqlite3_finalize(statement);
  return thousands >= 2 && thousands <= 4 ? "Photos " + std::to_string(thousands) : std::string();
}

std::string filled(std::string text, HiddenPhotos hidden) {
  std::string shown = "+v.showInLibrary = 1";
  if (hidden != HiddenPhotos::KeepWithTrash) shown = "+v.isInTrash = 0 AND " + shown;
  if (hidden == HiddenPhotos::LeaveOut) shown += " AND +v.isHidden = 0";
  const std::pair<std::string, std::string> values[] = {{"{SHOWN}", shown},
                                                        {"{THUMBNAIL}", derivative("thumb")},
                                                        {"{MINI}", derivative("mini")},
                                                        {"{RENDERED}", kRendered},
                                                        {"{DEVELOPED}", kDeveloped},
                                                        {"{OUTPUT}", kOutput},
                                                        {"{OTHER_OF_PAIR}", kOtherOfPair}};
  for (const auto& [name, value] : values) {
    for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at + value.size()))
      text.replace(at, name.size(), value);
  }
  return text;
}

}  // namespace

AdaptedSchema adaptPhotos4(sqlite3* database, HiddenPhotos hidden) {
  AdaptedSchema schema;
  std::size_t missingTables = 0;
  for (const NeededTable& table : kTables) {
    const int code = lookForColumn(database, table.name, nullptr);
    if (code != SQLITE_OK && code != SQLITE_ERROR) schema.code = code;
    if (code != SQLITE_OK) {
      schema.missing.push_back("table " + std::string(table.name));
      ++missingTables;
      continue;
    }
    for (const char* column : table.columns)
      if (lookForColumn(database, table.name, column) != SQLITE_OK)
        schema.missing.push_back("column " + std::string(table.name) + "." + column);
  }
  schema.callsFunctions = true;
  schema.version = versionOf(database);
  schema.isWithoutTables = missingTables == std::size(kTables);
  if (schema.code != SQLITE_OK || !schema.missing.empty()) return schema;
  for (const auto& [statement, rows] : kHelperSteps) schema.helperSteps.push_back({statement, rows});
  schema.views.emplace_back(kAlbumMembers);
  for (const char* each : {kVersions, kFolders}) schema.views.push_back(filled(each, hidden));
  for (const char* each : kOtherViews) schema.views.push_back(filled(each, hidden));
  const auto has = [database](const char* table, const char* column) {
    return lookForColumn(database, table, column) == SQLITE_OK;
  };
  schema.views.emplace_back(has("RKKeyword", "searchName") ? kKeywords : kNoKeywords);
  if (!has("RKKeywordForVersion", "keywordId")) schema.views.emplace_back(kNoKeywordsOfPhotos);
  for (const char* each : kViewsOfNothing) schema.views.emplace_back(each);
  return schema;
}

}  // namespace moxtel
