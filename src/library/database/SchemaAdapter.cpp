#include "library/database/SchemaAdapter.h"

#include <initializer_list>
#include <span>

namespace moxtel {

namespace {

// A table with the columns that the queries read: those of every version, and those of some. A table without
// any of the former is itself one of some versions.
struct ReadTable {
  const char* name;
  std::initializer_list<const char*> columns;
  std::initializer_list<const char*> columnsOfSomeVersions;
  bool isOfSomeVersions() const { return columns.size() == 0; }
};

const ReadTable kLibraryTables[] = {
    {"RKFolder",
     {"uuid", "name", "folderType", "parentFolderUuid", "modelId", "minImageDate", "maxImageDate",
      "folderPath", "versionCount", "isInTrash"},
     {"posterVersionUuid", "isHiddenWhenEmpty"}},
    {"RKAlbum",
     {"uuid", "name", "modelId", "albumType", "albumSubclass", "versionCount", "folderUuid", "isInTrash"},
     {"posterVersionUuid", "isMagic", "sortKeyPath", "sortAscending"}},
    {"RKVersion",
     {"uuid", "modelId", "projectUuid", "masterUuid", "versionNumber", "isInTrash", "fileName", "rotation",
      "hasAdjustments", "masterHeight", "masterWidth", "createDate"},
     {"exifLatitude", "exifLongitude", "videoPosterFramePoint", "isHidden", "name", "masterId",
      "imageTimeZoneName", "imageDate", "mainRating", "isFlagged", "colorLabelIndex", "processedWidth",
      "processedHeight", "hasEnabledAdjustments", "showInLibrary"}},
    {"RKAlbumVersion", {"albumId", "versionId"}, {}},
    {"RKMaster",
     {"uuid", "imagePath"},
     {"fileName", "originalFileName", "type", "isTrulyRaw", "isMissing", "isInTrash", "duration",
      "fileIsReference", "fileVolumeUuid", "alternateMasterUuid"}},
    {"RKNote", {"attachedToUuid", "note"}, {}},
    {"RKCustomSortOrder", {"containerUuid", "objectUuid", "orderNumber"}, {}},
    {"RKKeyword", {}, {"modelId", "name", "parentId"}},
    {"RKKeywordForVersion", {}, {"versionId", "keywordId"}},
    {"RKPlaceForVersion", {}, {"versionId", "placeId"}},
    {"RKVolume", {}, {"uuid", "name"}}};

const ReadTable kImageProxiesTables[] = {
    {"RKImageProxyState",
     {"versionUuid", "versionId", "thumbnailPath", "miniThumbnailPath", "fullSizePreviewPath"},
     {"faceTilePath", "fullSizePreviewUpToDate"}}};

const ReadTable kPropertiesTables[] = {
    {"RKUniqueString", {"modelId", "stringProperty"}, {}},
    {"RKIptcProperty", {"versionId", "propertyKey", "stringId"}, {}},
    {"RKExifStringProperty", {"versionId", "propertyKey", "stringId"}, {}},
    {"RKExifNumberProperty", {"versionId", "propertyKey", "numberProperty"}, {}},
    {"RKOtherProperty", {"versionId", "propertyKey", "stringId"}, {}},
    {"RKPlace", {}, {"modelId", "type", "defaultName"}}};

const ReadTable kFacesTables[] = {{"RKFaceName", {"uuid", "name", "keyVersionUuid", "faceKey"}, {}},
                                  {"RKDetectedFace",
                                   {"masterUuid", "faceKey", "faceIndex"},
                                   {"rejected", "ignore", "topLeftX", "topLeftY", "topRightX", "topRightY",
                                    "bottomLeftX", "bottomLeftY", "bottomRightX", "bottomRightY"}}};

// SQLITE_OK when the table, or with a column that column of it, is there; SQLITE_ERROR when it is not; else
// why that cannot be known. Views in the file count as missing: they are not read.
int look(sqlite3* database, const char* table, const char* column) {
  return sqlite3_table_column_metadata(database, "main", table, column, nullptr, nullptr, nullptr, nullptr,
                                       nullptr) &
         0xff;
}

std::vector<const char*> missingColumns(sqlite3* database, const char* table,
                                        std::initializer_list<const char*> columns) {
  std::vector<const char*> missing;
  for (const char* column : columns) {
    if (look(database, table, column) != SQLITE_OK) missing.push_back(column);
  }
  return missing;
}

std::string viewWithNulls(const std::string& table, const std::vector<const char*>& columns) {
  std::string sql = "CREATE TEMP VIEW " + table + " AS SELECT rowid,*";
  for (const char* column : columns) sql += ",NULL AS " + std::string(column);
  return sql + " FROM main." + table;
}

std::string emptyView(const ReadTable& table) {
  std::string sql = "CREATE TEMP VIEW " + std::string(table.name) + " AS SELECT 0 AS rowid";
  for (const char* column : table.columnsOfSomeVersions) sql += ",NULL AS " + std::string(column);
  return sql + " WHERE 0";
}

AdaptedSchema adapt(sqlite3* database, std::span<const ReadTable> tables) {
  AdaptedSchema schema;
  std::size_t neededTables = 0, missingTables = 0;
  for (const ReadTable& table : tables) {
    if (!table.isOfSomeVersions()) ++neededTables;
    const int code = look(database, table.name, nullptr);
    schema.code = code == SQLITE_ERROR ? SQLITE_OK : code;
    if (schema.code != SQLITE_OK) return schema;
    if (code == SQLITE_ERROR && table.isOfSomeVersions()) {
      schema.views.push_back(emptyView(table));
      continue;
    }
    if (code == SQLITE_ERROR) {
      schema.missing.push_back("table " + std::string(table.name));
      ++missingTables;
      continue;
    }
    for (const char* column : missingColumns(database, table.name, table.columns)) {
      schema.missing.push_back("column " + std::string(table.name) + "." + column);
    }
    const auto nulls = missingColumns(database, table.name, table.columnsOfSomeVersions);
    if (!nulls.empty()) schema.views.push_back(viewWithNulls(table.name, nulls));
  }
  schema.isWithoutTables = missingTables == neededTables;
  return schema;
}

}  // namespace

// Photos 1 kept iPhoto's file names, but no events. Its lists would be half empty, so they are empty.
AdaptedSchema adaptLibrary(sqlite3* database) {
  AdaptedSchema schema = adapt(database, kLibraryTables);
  if (schema.code != SQLITE_OK || look(database, "RKVersion", nullptr) != SQLITE_OK ||
      look(database, "RKVersion", "projectUuid") == SQLITE_OK)
    return schema;
  schema.version = "Photos 1";
  schema.isNotServed = true;
  schema.views.clear();
  for (const ReadTable& table : kLibraryTables) {
    if (look(database, table.name, nullptr) == SQLITE_OK)
      schema.views.push_back("CREATE TEMP VIEW " + std::string(table.name) + " AS SELECT rowid,* FROM main." +
                             table.name + " WHERE 0");
  }
  return schema;
}
AdaptedSchema adaptImageProxies(sqlite3* database) { return adapt(database, kImageProxiesTables); }
AdaptedSchema adaptProperties(sqlite3* database) { return adapt(database, kPropertiesTables); }
AdaptedSchema adaptFaces(sqlite3* database) { return adapt(database, kFacesTables); }

}  // namespace moxtel
