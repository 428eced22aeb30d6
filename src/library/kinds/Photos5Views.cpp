#include <cinttypes>
#include <cstdio>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "library/kinds/PhotosViews.h"
#include "library/kinds/SchemaNames.h"

namespace moxtel {

namespace {

// Core Data's number of an entity; nothing when there is none.
std::optional<std::int64_t> entityNumber(sqlite3* database, const char* name) {
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(database, "SELECT Z_ENT FROM main.Z_PRIMARYKEY WHERE Z_NAME = ?", -1, &statement,
                     nullptr);
  if (!statement) return std::nullopt;
  sqlite3_bind_text(statement, 1, name, -1, SQLITE_STATIC);
  std::optional<std::int64_t> number;
  if (sqlite3_step(statement) == SQLITE_ROW && sqlite3_column_type(statement, 0) == SQLITE_INTEGER)
    number = sqlite3_column_int64(statement, 0);
  sqlite3_finalize(statement);
  return number;
}

// The names that change with the version. Empty: not in this version.
struct Names {
  std::string assets;
  std::string albumAssets, albumOfPair, assetOfPair;
  std::string keyAssets, albumOfKey, assetOfKey;
  std::string faceAsset, facePerson;
  std::string adjusted;                                       // a condition on the asset s
  std::string shared;                                         // a condition on the asset s
  std::string live;                                           // a condition on the asset s
  std::string keywordPairs, attributesOfPair, keywordOfPair;  // empty: no keywords
};

class NameFinder final {
 public:
  explicit NameFinder(sqlite3* database) : database_(database) {}

  Names find() {
    Names names;
    names.assets = firstTable({"ZASSET", "ZGENERICASSET"});
    findAlbumAssets(names);
    findKeyAssets(names);
    names.faceAsset = firstColumn("ZDETECTEDFACE", {"ZASSETFORFACE", "ZASSET"});
    names.facePerson = firstColumn("ZDETECTEDFACE", {"ZPERSONFORFACE", "ZPERSON"});
    names.adjusted =
        has(names.assets, "ZHASADJUSTMENTS") ? "s.ZHASADJUSTMENTS > 0" : "s.ZADJUSTMENTSSTATE > 0";
    names.shared =
        has(names.assets, "ZBUNDLESCOPE") ? "s.ZBUNDLESCOPE != 0" : "s.ZCLOUDBATCHPUBLISHDATE IS NOT NULL";
    names.live = has(names.assets, "ZKINDSUBTYPE") ? "+s.ZKIND = 0 AND +s.ZKINDSUBTYPE = 2" : "0";
    findKeywords(names);
    return names;
  }
  // SQLITE_OK unless the schema could not be read.
  int code() const { return code_; }
  const std::vector<std::string>& missing() const { return missing_; }
  // What every version has.
  void require(const std::string& table, std::initializer_list<const char*> columns) {
    if (!has(table, nullptr)) return missing_.push_back("table " + table);
    for (const char* column : columns)
      if (!has(table, column)) missing_.push_back("column " + table + "." + column);
  }

 private:
  bool has(const std::string& table, const char* column) {
    const int found = lookForColumn(database_, table, column);
    if (found != SQLITE_OK && found != SQLITE_ERROR) code_ = found;
    return found == SQLITE_OK;
  }
  std::string firstTable(std::initializer_list<const char*> tables) {
    for (const char* table : tables)
      if (has(table, nullptr)) return table;
    missing_.push_back(std::string("table ") + *tables.begin());
    return {};
  }
  std::string firstColumn(const std::string& table, std::initializer_list<const char*> columns) {
    for (const char* column : columns)
      if (has(table, column)) return column;
    missing_.push_back("column " + table + "." + *columns.begin());
    return {};
  }
  // "34" where photos are the entity GenericAsset, else the number of Asset.
  std::string assetNumber() {
    const auto generic = entityNumber(database_, "GenericAsset");
    const auto number = generic ? generic : entityNumber(database_, "Asset");
    return std::to_string(number.value_or(0));
  }
  void findAlbumAssets(Names& names) {
    const std::string album = "Z_" + std::to_string(entityNumber(database_, "Album").value_or(0));
    names.albumAssets = album + "ASSETS";
    names.albumOfPair = album + "ALBUMS";
    names.assetOfPair = "Z_" + assetNumber() + "ASSETS";
    require(names.albumAssets, {names.albumOfPair.c_str(), names.assetOfPair.c_str()});
  }
  void findKeywords(Names& names) {
    const auto attributes = entityNumber(database_, "AdditionalAssetAttributes");
    const auto keyword = entityNumber(database_, "Keyword");
    if (!attributes || !keyword || !has("ZKEYWORD", "ZTITLE")) return;
    const std::string table = "Z_" + std::to_string(*attributes) + "KEYWORDS",
                      ofAttributes = "Z_" + std::to_string(*attributes) + "ASSETATTRIBUTES",
                      ofKeyword = "Z_" + std::to_string(*keyword) + "KEYWORDS";
    if (!has(table, ofAttributes.c_str()) || !has(table, ofKeyword.c_str())) return;
    names.keywordPairs = table;
    names.attributesOfPair = ofAttributes;
    names.keywordOfPair = ofKeyword;
  }
  void findKeyAssets(Names& names) {
    const std::string album = "Z_" + std::to_string(entityNumber(database_, "GenericAlbum").value_or(0));
    const std::string table = album + "KEYASSETS", ofAlbum = album + "ALBUMSBEINGKEYASSETS",
                      ofAsset = "Z_" + assetNumber() + "KEYASSETS";
    if (!has(table, ofAlbum.c_str()) || !has(table, ofAsset.c_str())) return;
    names.keyAssets = table;
    names.albumOfKey = ofAlbum;
    names.assetOfKey = ofAsset;
  }

  sqlite3* database_;
  int code_ = SQLITE_OK;
  std::vector<std::string> missing_;
};

// Of a migrated iPhoto library: the folder with its events, each an album.
constexpr const char* kEventAlbums =
    "SELECT a.Z_PK FROM main.ZGENERICALBUM a JOIN main.ZGENERICALBUM f ON f.Z_PK = a.ZPARENTFOLDER WHERE "
    "f.ZKIND = 4000 AND f.ZTITLE = 'iPhoto Events' AND f.ZTRASHEDSTATE = 0 AND a.ZKIND = 2 AND "
    "a.ZTRASHEDSTATE = 0";

constexpr std::string_view kNotInTrash = "+s.ZTRASHEDSTATE = 0";

// Replaces {NAME} by the values of a table of names.
std::string filled(std::string_view text, const Names& names, std::string_view shown) {
  // Originals and previews also of photos that are not shown, but for those in the trash.
  const std::string_view kept = shown.starts_with(kNotInTrash) ? kNotInTrash : "1";
  const std::pair<std::string_view, std::string_view> values[] = {
      {"{ASSETS}", names.assets},
      {"{PAIRS}", names.albumAssets},
      {"{PAIR_ALBUM}", names.albumOfPair},
      {"{PAIR_ASSET}", names.assetOfPair},
      {"{FACE_ASSET}", names.faceAsset},
      {"{FACE_PERSON}", names.facePerson},
      {"{ADJUSTED}", names.adjusted},
      {"{SHARED}", names.shared},
      {"{LIVE}", names.live},
      {"{KEYWORD_PAIRS}", names.keywordPairs},
      {"{PAIR_ATTRIBUTES}", names.attributesOfPair},
      {"{PAIR_KEYWORD}", names.keywordOfPair},
      {"{SHOWN}", shown},
      {"{KEPT}", kept},
      {"{EVENT_ALBUMS}", kEventAlbums},
  };
  std::string result;
  while (!text.empty()) {
    bool replaced = false;
    for (const auto& [name, value] : values) {
      if (!text.starts_with(name)) continue;
      result += value;
      text.remove_prefix(name.size());
      replaced = true;
      break;
    }
    if (replaced) continue;
    result += text.front();
    text.remove_prefix(1);
  }
  return result;
}

// The photo s is shown. The signs keep SQLite from an index on one of these columns, which nearly all photos
// have in common.
std::string shownCondition(HiddenPhotos hidden) {
  std::string condition = "+s.ZVISIBILITYSTATE = 0";
  if (hidden != HiddenPhotos::KeepWithTrash) condition = std::string(kNotInTrash) + " AND " + condition;
  if (hidden == HiddenPhotos::LeaveOut) condition += " AND +s.ZHIDDEN = 0";
  return condition;
}

// Each photo that is in an album of a migrated event has that event, in two the first one; the others have
// their moment. A table with an index, because a view could not be searched for one event.
constexpr const char* kEventSteps[][2] = {
    {"CREATE TABLE EventOfPhoto (photo INTEGER PRIMARY KEY, album INTEGER, event TEXT)", ""},
    {"INSERT OR IGNORE INTO EventOfPhoto VALUES (?,?,?)",
     "SELECT p.{PAIR_ASSET}, p.{PAIR_ALBUM}, a.ZUUID FROM main.{PAIRS} p JOIN main.ZGENERICALBUM a ON a.Z_PK "
     "= "
     "p.{PAIR_ALBUM} WHERE p.{PAIR_ALBUM} IN ({EVENT_ALBUMS}) ORDER BY p.{PAIR_ALBUM}"},
    {"INSERT OR IGNORE INTO EventOfPhoto VALUES (?,?,?)",
     "SELECT s.Z_PK, NULL, m.ZUUID FROM main.{ASSETS} s JOIN main.ZMOMENT m ON m.Z_PK = s.ZMOMENT"},
    {"CREATE INDEX PhotosOfEvent ON EventOfPhoto (event, photo)", ""}};

// The moment of a photo is its event. LEFT JOIN: SQLite then finds the photos of one event by two indexes.
// A photo that somebody shared has no version number: it is in albums only.
constexpr const char* kVersions =
    "CREATE TEMP VIEW RKVersion AS SELECT s.Z_PK AS rowid, s.Z_PK AS modelId, s.ZUUID AS uuid, x.ZTITLE AS "
    "name, "
    "x.ZORIGINALFILENAME AS fileName, CASE WHEN {SHARED} THEN NULL ELSE 1 END AS versionNumber, s.ZUUID AS "
    "masterUuid, s.Z_PK AS masterId, {EVENT} AS projectUuid, x.ZTIMEZONENAME AS imageTimeZoneName, "
    "+s.ZDATECREATED AS imageDate, 0 AS mainRating, s.ZHIDDEN AS isHidden, s.ZFAVORITE AS isFlagged, -1 AS "
    "colorLabelIndex, coalesce(x.ZORIGINALHEIGHT, s.ZHEIGHT) AS masterHeight, coalesce(x.ZORIGINALWIDTH, "
    "s.ZWIDTH) AS masterWidth, s.ZHEIGHT AS processedHeight, s.ZWIDTH AS processedWidth, CASE s.ZORIENTATION "
    "WHEN 6 THEN 90 WHEN 3 THEN 180 WHEN 8 THEN 270 ELSE 0 END AS rotation, {ADJUSTED} AS hasAdjustments, "
    "{ADJUSTED} AS hasEnabledAdjustments, "
    "s.ZADDEDDATE AS createDate, +s.ZTRASHEDSTATE AS isInTrash, nullif(s.ZLATITUDE, -180.0) AS exifLatitude, "
    "nullif(s.ZLONGITUDE, -180.0) AS exifLongitude, CASE s.ZKIND WHEN 1 THEN '0' END AS "
    "videoPosterFramePoint, "
    "1 AS showInLibrary FROM main.{ASSETS} s LEFT JOIN main.ZADDITIONALASSETATTRIBUTES x ON x.Z_PK = "
    "s.ZADDITIONALATTRIBUTES {EVENT_JOIN} WHERE {SHOWN}";

// Folders, moments, and the albums of migrated events. Where columns of a UNION ALL have the same affinity,
// none by a sign or that of a CAST, SQLite looks for a folder in each part by its index; else it makes all
// rows first.
constexpr const char* kFolders =
    "CREATE TEMP VIEW RKFolder AS SELECT f.Z_PK AS rowid, f.Z_PK AS modelId, f.ZUUID AS uuid, 1 AS "
    "folderType, "
    "f.ZTITLE AS name, CASE WHEN p.ZKIND = 4000 THEN p.ZUUID ELSE 'TopLevelAlbums' END AS parentFolderUuid, "
    "NULL "
    "AS implicitAlbumUuid, NULL AS posterVersionUuid, NULL AS versionCount, NULL AS minImageDate, NULL AS "
    "maxImageDate, '' AS folderPath, 0 AS isInTrash, 0 AS isHiddenWhenEmpty, 0 AS isMagic, NULL AS "
    "sortKeyPath, "
    "1 AS sortAscending FROM main.ZGENERICALBUM f LEFT JOIN main.ZGENERICALBUM p ON p.Z_PK = f.ZPARENTFOLDER "
    "WHERE f.ZKIND = 4000 AND f.ZTRASHEDSTATE = 0 AND f.Z_PK NOT IN (SELECT ZPARENTFOLDER FROM "
    "main.ZGENERICALBUM WHERE Z_PK IN ({EVENT_ALBUMS})) UNION ALL SELECT m.Z_PK, m.Z_PK, m.ZUUID, 2, "
    "m.ZTITLE, "
    "'AllProjectsItem', NULL, NULL, NULL, +m.ZSTARTDATE, +m.ZENDDATE, '', 0, 0, 0, NULL, 1 FROM main.ZMOMENT "
    "m "
    "WHERE EXISTS (SELECT 1 FROM main.{ASSETS} s WHERE s.ZMOMENT = m.Z_PK AND NOT ({SHARED}) AND {SHOWN}"
    "{NOT_MIGRATED})";
// Albums and moments may have equal numbers: those of albums get 2^40 added.
constexpr const char* kMigratedEvents =
    " UNION ALL SELECT CAST(a.Z_PK + 1099511627776 AS INTEGER), CAST(a.Z_PK + 1099511627776 AS INTEGER), "
    "a.ZUUID, 2, a.ZTITLE, 'AllProjectsItem', NULL, +(SELECT s.ZUUID FROM main.{ASSETS} s WHERE s.Z_PK = "
    "({KEY}) AND {SHOWN}), NULL, +(SELECT min(s.ZDATECREATED) FROM helper.EventOfPhoto e JOIN main.{ASSETS} "
    "s "
    "ON s.Z_PK = e.photo WHERE e.event = a.ZUUID), +(SELECT max(s.ZDATECREATED) FROM helper.EventOfPhoto e "
    "JOIN main.{ASSETS} s ON s.Z_PK = e.photo WHERE e.event = a.ZUUID), '', 0, 0, 0, NULL, 1 FROM "
    "main.ZGENERICALBUM a WHERE a.Z_PK IN ({EVENT_ALBUMS})";

// 1505: shared by somebody, in no folder. 1507: a rule.
constexpr const char* kAlbums =
    "CREATE TEMP VIEW RKAlbum AS SELECT a.Z_PK AS rowid, a.Z_PK AS modelId, a.ZUUID AS uuid, 1 AS albumType, "
    "CASE "
    "a.ZKIND WHEN 1507 THEN 2 ELSE 3 END AS albumSubclass, a.ZTITLE AS name, CASE WHEN p.ZKIND = 4000 THEN "
    "p.ZUUID ELSE 'TopLevelAlbums' END AS folderUuid, NULL AS queryFolderUuid, (SELECT s.ZUUID FROM "
    "main.{ASSETS} s WHERE s.Z_PK = ({KEY}) AND {SHOWN}) AS posterVersionUuid, NULL AS versionCount, 0 AS "
    "isInTrash, 0 AS isMagic, NULL AS sortKeyPath, 1 AS sortAscending, NULL AS queryData FROM "
    "main.ZGENERICALBUM "
    "a LEFT JOIN main.ZGENERICALBUM p ON p.Z_PK = a.ZPARENTFOLDER WHERE a.ZKIND IN (2, 1505, 1507) AND "
    "a.ZTRASHEDSTATE = 0 AND a.Z_PK NOT IN ({EVENT_ALBUMS})";

constexpr const char* kOtherViews[] = {
    "CREATE TEMP VIEW RKAlbumVersion AS SELECT rowid AS rowid, rowid AS modelId, {PAIR_ALBUM} AS albumId, "
    "{PAIR_ASSET} AS versionId FROM main.{PAIRS}",
    // The RAW of a pair comes next, and smaller pictures last: for an original that is only in the cloud.
    "CREATE TEMP VIEW RKMaster AS SELECT s.Z_PK AS rowid, s.Z_PK AS modelId, s.ZUUID AS uuid, CASE WHEN "
    "s.ZDIRECTORY LIKE '/%' THEN s.ZDIRECTORY || '/' || s.ZFILENAME ELSE 'originals/' || s.ZDIRECTORY || '/' "
    "|| "
    "s.ZFILENAME || '\n' || {RAWS_OF_PAIR} || {SMALL_PICTURES} END AS imagePath, s.ZDIRECTORY LIKE '/%' AS "
    "fileIsReference, NULL "
    "AS fileVolumeUuid, x.ZORIGINALFILENAME AS fileName, x.ZORIGINALFILENAME AS originalFileName, 0 AS "
    "isTrulyRaw, 0 AS isMissing, s.ZTRASHEDSTATE != 0 AS isInTrash, NULL AS type, NULL AS duration, NULL AS "
    "alternateMasterUuid, s.ZCLOUDLOCALSTATE AS isInCloud FROM main.{ASSETS} "
    "s "
    "LEFT JOIN main.ZADDITIONALASSETATTRIBUTES x ON x.Z_PK = s.ZADDITIONALATTRIBUTES WHERE {KEPT}",
    "CREATE TEMP VIEW RKNote AS SELECT 0 AS rowid, NULL AS attachedToUuid, NULL AS note WHERE 0",
    "CREATE TEMP VIEW RKCustomSortOrder AS SELECT a.Z_PK AS rowid, CASE WHEN p.ZKIND = 4000 THEN p.ZUUID "
    "ELSE "
    "'TopLevelAlbums' END AS containerUuid, a.ZUUID AS objectUuid, a.Z_FOK_PARENTFOLDER AS orderNumber FROM "
    "main.ZGENERICALBUM a LEFT JOIN main.ZGENERICALBUM p ON p.Z_PK = a.ZPARENTFOLDER UNION ALL SELECT Z_PK, "
    "'AllProjectsItem', uuid, number FROM (SELECT modelId AS Z_PK, uuid, CAST(minImageDate / 60 AS INTEGER) "
    "AS "
    "number FROM RKFolder WHERE folderType = 2)",
    "CREATE TEMP VIEW RKImageProxyState AS SELECT s.Z_PK AS rowid, s.Z_PK AS modelId, s.Z_PK AS versionId, "
    "s.ZUUID AS versionUuid, {THUMBNAILS} AS thumbnailPath, {SMALL_PICTURES_FIRST_MINI} AS "
    "miniThumbnailPath, NULL "
    "AS faceTilePath, {RENDERED} AS fullSizePreviewPath, NULL AS fullSizePreviewUpToDate FROM main.{ASSETS} "
    "s WHERE {KEPT}",
    "CREATE TEMP VIEW RKIptcProperty AS SELECT s.Z_PK AS rowid, s.Z_PK AS modelId, s.Z_PK AS versionId, "
    "'Caption/Abstract' AS propertyKey, x.ZASSETDESCRIPTION AS stringId FROM main.{ASSETS} s JOIN "
    "main.ZADDITIONALASSETATTRIBUTES x ON x.Z_PK = s.ZADDITIONALATTRIBUTES WHERE x.ZASSETDESCRIPTION IS NOT "
    "NULL",
    "CREATE TEMP VIEW RKUniqueString AS SELECT Z_PK AS rowid, Z_PK AS modelId, ZLONGDESCRIPTION AS "
    "stringProperty FROM main.ZASSETDESCRIPTION",
    "CREATE TEMP VIEW RKExifStringProperty AS SELECT 0 AS rowid, NULL AS versionId, NULL AS propertyKey, "
    "NULL AS "
    "stringId WHERE 0",
    "CREATE TEMP VIEW RKExifNumberProperty AS SELECT 0 AS rowid, NULL AS versionId, NULL AS propertyKey, "
    "NULL AS "
    "numberProperty WHERE 0",
    "CREATE TEMP VIEW RKOtherProperty AS SELECT 0 AS rowid, NULL AS versionId, NULL AS propertyKey, NULL AS "
    "stringId WHERE 0",
    "CREATE TEMP VIEW RKDetectedFace AS SELECT d.Z_PK AS rowid, d.Z_PK AS modelId, s.ZUUID AS masterUuid, "
    "d.{FACE_PERSON} AS faceKey, (SELECT count(*) FROM main.ZDETECTEDFACE o WHERE o.{FACE_ASSET} = "
    "d.{FACE_ASSET} AND o.Z_PK < d.Z_PK) AS faceIndex, NULL AS tilePath, d.ZCENTERX AS centerX, d.ZCENTERY "
    "AS centerY, d.ZSIZE "
    "AS "
    "size FROM main.ZDETECTEDFACE d JOIN main.{ASSETS} s ON s.Z_PK = d.{FACE_ASSET} WHERE {SHOWN}",
    // The photo of the key face, else of the first one. Persons that no shown photo has are left out.
    "CREATE TEMP VIEW RKFaceName AS SELECT rowid, rowid AS modelId, uuid, name, coalesce(keyVersionUuid, "
    "firstVersionUuid) AS keyVersionUuid, rowid AS faceKey FROM (SELECT p.Z_PK AS rowid, p.ZPERSONUUID AS "
    "uuid, "
    "p.ZFULLNAME AS name, (SELECT s.ZUUID FROM main.ZDETECTEDFACE d JOIN main.{ASSETS} s ON s.Z_PK = "
    "d.{FACE_ASSET} WHERE d.Z_PK = p.ZKEYFACE AND {SHOWN}) AS keyVersionUuid, (SELECT s.ZUUID FROM "
    "main.ZDETECTEDFACE d JOIN main.{ASSETS} s ON s.Z_PK = d.{FACE_ASSET} WHERE d.{FACE_PERSON} = p.Z_PK AND "
    "{SHOWN} ORDER BY d.Z_PK LIMIT 1) AS firstVersionUuid FROM main.ZPERSON p WHERE p.ZFULLNAME <> '' AND "
    "p.ZMERGETARGETPERSON IS NULL) WHERE firstVersionUuid IS NOT NULL",
};

constexpr const char* kKeywords[] = {
    "CREATE TEMP VIEW RKKeyword AS SELECT Z_PK AS rowid, Z_PK AS modelId, ZTITLE AS name, NULL AS parentId "
    "FROM "
    "main.ZKEYWORD",
    // The photos first, so that those of a range are found by their numbers.
    "CREATE TEMP VIEW RKKeywordForVersion AS SELECT s.Z_PK AS rowid, s.Z_PK AS versionId, k.{PAIR_KEYWORD} "
    "AS "
    "keywordId FROM main.{ASSETS} s JOIN main.{KEYWORD_PAIRS} k ON k.{PAIR_ATTRIBUTES} = "
    "s.ZADDITIONALATTRIBUTES"};
constexpr const char* kNoKeywords[] = {
    "CREATE TEMP VIEW RKKeyword AS SELECT 0 AS rowid, NULL AS modelId, NULL AS name, NULL AS parentId WHERE "
    "0",
    "CREATE TEMP VIEW RKKeywordForVersion AS SELECT 0 AS rowid, NULL AS versionId, NULL AS keywordId WHERE "
    "0"};
// The photos that have a short movie.
constexpr const char* kLivePhotos =
    "CREATE TEMP VIEW MoxtelLivePhotos AS SELECT s.Z_PK AS rowid, s.Z_PK AS modelId, {LIVE_MOVIE} AS path "
    "FROM "
    "main.{ASSETS} s WHERE {LIVE}";

constexpr const char* kThumbnail =
    "'resources/derivatives/' || substr(s.ZUUID, 1, 1) || '/' || s.ZUUID || '_1_105_c.jpeg'";
constexpr const char* kMini =
    "'resources/derivatives/masters/' || substr(s.ZUUID, 1, 1) || '/' || s.ZUUID || '_4_5005_c.jpeg'";
constexpr const char* kOriginal = "'originals/' || substr(s.ZUUID, 1, 1) || '/' || s.ZUUID || ";
// The other original of a pair has the camera's extension.
constexpr const char* kRawExtensions[] = {"dng", "cr2", "cr3", "nef", "arw", "orf", "raf", "rw2"};
constexpr const char* kRender = "'resources/renders/' || substr(s.ZUUID, 1, 1) || '/' || s.ZUUID || ";

std::string replaced(std::string text, std::string_view name, const std::string& value) {
  for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at + value.size()))
    text.replace(at, name.size(), value);
  return text;
}

std::string withPaths(std::string text) {
  const std::string thumbnails = std::string(kThumbnail) + " || '\n' || " + kMini;
  text = replaced(std::move(text), "{THUMBNAILS}", thumbnails);
  std::string raws;
  for (const char* extension : kRawExtensions)
    raws += std::string(raws.empty() ? "" : " || ") + kOriginal + "'_4." + extension + "\n'";
  text = replaced(std::move(text), "{RAWS_OF_PAIR}", "CASE s.ZKIND WHEN 0 THEN " + raws + " ELSE '' END");
  text = replaced(std::move(text), "{LIVE_MOVIE}", std::string(kOriginal) + "'_3.mov'");
  text = replaced(std::move(text), "{SMALL_PICTURES_FIRST_MINI}",
                  std::string(kMini) + " || '\n' || " + kThumbnail);
  text = replaced(std::move(text), "{SMALL_PICTURES}", thumbnails);
  const std::string picture =
      std::string(kRender) + "'_1_201_a.jpeg' || '\n' || " + kRender + "'_1_201_a.heic'";
  const std::string movie = std::string(kRender) + "'_2_0_a.mov'";
  return replaced(std::move(text), "{RENDERED}",
                  "CASE s.ZKIND WHEN 1 THEN " + movie + " ELSE " + picture + " END || '\n' || " + thumbnails);
}

std::string keyAssetOf(const Names& names) {
  if (names.keyAssets.empty()) return "a.ZKEYASSET";
  return "SELECT min(k." + names.assetOfKey + ") FROM main." + names.keyAssets + " k WHERE k." +
         names.albumOfKey + " = a.Z_PK";
}

bool hasMigratedEvents(sqlite3* database) {
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(database, kEventAlbums, -1, &statement, nullptr);
  const bool found = statement && sqlite3_step(statement) == SQLITE_ROW;
  sqlite3_finalize(statement);
  return found;
}

class Photos5Schema final {
 public:
  Photos5Schema(Names names, HiddenPhotos hidden, bool migrated)
      : names_(std::move(names)), shown_(shownCondition(hidden)), migrated_(migrated) {}

  std::vector<HelperStep> helperSteps() const {
    std::vector<HelperStep> steps;
    if (migrated_)
      for (const auto& [statement, rows] : kEventSteps) steps.push_back({statement, text(rows)});
    return steps;
  }
  std::vector<std::string> views() const {
    std::vector<std::string> all;
    all.push_back(versions());
    all.push_back(folders());
    all.push_back(text(replaced(kAlbums, "{KEY}", keyAssetOf(names_))));
    for (const char* each : kOtherViews) all.push_back(text(withPaths(each)));
    for (const char* each : names_.keywordPairs.empty() ? kNoKeywords : kKeywords) all.push_back(text(each));
    all.push_back(text(withPaths(kLivePhotos)));
    for (const char* each : kViewsOfNothing) all.emplace_back(each);
    return all;
  }

 private:
  std::string text(const std::string& template_) const { return filled(template_, names_, shown_); }
  std::string versions() const {
    std::string view = replaced(kVersions, "{EVENT_JOIN}",
                                migrated_ ? "LEFT JOIN helper.EventOfPhoto e ON e.photo = s.Z_PK"
                                          : "LEFT JOIN main.ZMOMENT m ON m.Z_PK = s.ZMOMENT");
    return text(replaced(std::move(view), "{EVENT}", migrated_ ? "e.event" : "m.ZUUID"));
  }
  std::string folders() const {
    const char* others = migrated_ ? " AND NOT EXISTS (SELECT 1 FROM helper.EventOfPhoto e WHERE e.photo "
                                     "= s.Z_PK AND e.album IS NOT NULL)"
                                   : "";
    std::string view = replaced(kFolders, "{NOT_MIGRATED}", others);
    if (migrated_) view += replaced(kMigratedEvents, "{KEY}", keyAssetOf(names_));
    return text(view);
  }

  Names names_;
  std::string shown_;
  bool migrated_;
};

}  // namespace

AdaptedSchema adaptPhotos5(sqlite3* database, HiddenPhotos hidden) {
  NameFinder finder(database);
  const Names names = finder.find();
  finder.require("ZADDITIONALASSETATTRIBUTES", {"ZORIGINALFILENAME", "ZTITLE", "ZASSETDESCRIPTION"});
  finder.require("ZGENERICALBUM", {"ZKIND", "ZUUID", "ZTITLE", "ZPARENTFOLDER", "Z_FOK_PARENTFOLDER"});
  finder.require("ZMOMENT", {"ZUUID", "ZTITLE", "ZSTARTDATE", "ZENDDATE"});
  finder.require("ZPERSON", {"ZPERSONUUID", "ZFULLNAME", "ZKEYFACE", "ZMERGETARGETPERSON"});
  finder.require("ZASSETDESCRIPTION", {"ZLONGDESCRIPTION"});
  AdaptedSchema schema;
  schema.code = finder.code();
  schema.missing = finder.missing();
  schema.callsFunctions = true;
  schema.isWithoutTables = names.assets.empty();
  // Only Photos 5 has the older name.
  if (!names.assets.empty()) schema.version = names.assets == "ZASSET" ? "Photos 6+" : "Photos 5";
  if (schema.code != SQLITE_OK || !schema.missing.empty()) return schema;
  const Photos5Schema made(names, hidden, hasMigratedEvents(database));
  schema.helperSteps = made.helperSteps();
  schema.views = made.views();
  return schema;
}

}  // namespace moxtel
