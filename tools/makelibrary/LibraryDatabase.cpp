#include <optional>

#include "makelibrary/Everything.h"
#include "makelibrary/LibrarySchema.h"
#include "makelibrary/Random.h"
#include "makelibrary/SampleDatabases.h"
#include "makelibrary/SamplePlan.h"
#include "makelibrary/SmartAlbums.h"
#include "makelibrary/SqliteWriter.h"

namespace moxtel::makelibrary {

namespace {

std::optional<std::string> orNull(const std::string& text) {
  return text.empty() ? std::nullopt : std::optional(text);
}

void writeFolders(const SamplePlan& plan, SqliteWriter& writer) {
  Inserter folder = writer.into(
      "RKFolder",
      "modelId,uuid,folderType,name,parentFolderUuid,posterVersionUuid,automaticallyGenerateFullSizePreviews,"
      "versionCount,minImageDate,maxImageDate,folderPath,createDate,isExpanded,isHidden,isHiddenWhenEmpty,"
      "isFavorite,isInTrash,isMagic,colorLabelIndex,sortAscending,sortKeyPath,implicitAlbumUuid");
  for (const Container& c : plan.folders()) {
    std::optional<double> minimum, maximum;
    if (c.type == 2) minimum = maximum = 0;
    if (c.end > c.first) {
      minimum = plan.photo(c.first).date;
      maximum = plan.photo(c.end - 1).date;
    }
    folder.row(c.modelId, c.uuid, c.type, orNull(c.name), orNull(c.parentUuid), orNull(c.posterUuid), 1,
               c.end - c.first, minimum, maximum, c.folderPath, minimum.value_or(222220800.0), 1, 0,
               c.hiddenWhenEmpty, 0, c.inTrash, c.magic, 0, 1, c.type == 2 ? "exifProperties.ImageDate" : "",
               orNull(c.implicitAlbumUuid));
  }
}

// Most albums lack the count, even if they have members.
std::optional<std::size_t> storedCount(const Container& album, std::size_t members) {
  if (album.modelId % 4 != 1 || members == 0) return std::nullopt;
  return members;
}

// How an album sorts its photos.
std::pair<std::string_view, bool> orderOf(const Container& album) {
  if (!album.smart) return {album.name.empty() ? "exifProperties.ImageDate" : "custom.default", true};
  if (album.smart->order == SmartOrder::Rating) return {"basicProperties.MainRating", true};
  return {"exifProperties.ImageDate", album.smart->order == SmartOrder::OldestFirst};
}

std::optional<std::string> scopeOf(const SamplePlan& plan, const Container& album) {
  if (album.subclass != 2) return std::nullopt;
  if (!album.smart || album.smart->scope == SmartScope::Library) return "LibraryFolder";
  return plan.firstProject().uuid;
}

Cell ruleOf(const Container& album) {
  if (!album.smart) return {};
  return Blob{album.smart->queryData};
}

void writeAlbums(const SamplePlan& plan, SqliteWriter& writer) {
  Inserter albumRow =
      writer.into("RKAlbum",
                  "modelId,uuid,albumType,albumSubclass,name,folderUuid,queryFolderUuid,"
                  "posterVersionUuid,sortKeyPath,sortAscending,customSortAvailable,versionCount,"
                  "createDate,isFavorite,isInTrash,isHidden,isMagic,colorLabelIndex,queryData");
  Inserter memberRow = writer.into("RKAlbumVersion", "modelId,versionId,albumId");
  std::int64_t memberId = 0;
  for (const Container& album : plan.albums()) {
    const std::vector<std::size_t> members = plan.membersOf(album);
    std::optional<std::string> poster;
    if (!members.empty() && album.modelId % 2 == 0) poster = plan.photo(members.front()).versionUuid;
    const auto [sortKeyPath, ascending] = orderOf(album);
    albumRow.row(album.modelId, album.uuid, album.type, album.subclass, album.name, album.parentUuid,
                 scopeOf(plan, album), poster, sortKeyPath, ascending, 1, storedCount(album, members.size()),
                 250000000 + album.modelId, 0, album.inTrash, 0, album.magic, 0, ruleOf(album));
    for (const std::size_t index : members)
      memberRow.row(++memberId, static_cast<std::int64_t>(2 * index + 2), album.modelId);
  }
}

std::string_view typeOf(MasterKind kind) { return kind == MasterKind::Movie ? "VIDT" : "IMGT"; }

std::string_view subtypeOf(MasterKind kind) {
  switch (kind) {
    case MasterKind::Raw:
      return "RAWST";
    case MasterKind::Tiff:
      return "TIFST";
    case MasterKind::Movie:
      return "MOVST";
    case MasterKind::Jpeg:
      break;
  }
  return "JPGST";
}

void writeMasters(const SamplePlan& plan, SqliteWriter& writer) {
  Inserter master = writer.into(
      "RKMaster",
      "modelId,uuid,name,projectUuid,importGroupUuid,originalVersionUuid,originalVersionName,fileName,type,"
      "subtype,"
      "fileIsReference,isExternallyEditable,isTrulyRaw,isMissing,hasAttachments,hasNotes,hasFocusPoints,"
      "imagePath,"
      "fileSize,duration,imageDate,fileCreationDate,fileModificationDate,imageHash,originalFileName,"
      "originalFileSize,imageFormat,importedBy,createDate,isInTrash,faceDetectionState,colorSpaceName,"
      "alternateMasterUuid");
  for (std::size_t i = 0; i < plan.photoCount(); ++i) {
    const Photo p = plan.photo(i);
    const std::size_t size = 900000 + (i * 7919) % 700000;
    std::optional<double> duration;
    if (p.kind == MasterKind::Movie) duration = p.duration;
    master.row(p.masterId, p.masterUuid, p.baseName, plan.folders()[p.project].uuid, p.folder,
               p.originalVersionUuid, p.baseName, p.fileName, typeOf(p.kind), subtypeOf(p.kind), 0,
               p.kind != MasterKind::Movie, p.kind == MasterKind::Raw, 0, 0, 0, 0,
               p.folder + "/" + p.fileName, size, duration, p.date, p.date, p.date, p.masterUuid, p.fileName,
               size, 0, 3, p.date + 86400, p.inTrash, p.kind == MasterKind::Movie ? 0 : 1,
               "sRGB IEC61966-2.1", orNull(p.pairUuid));
    if (p.pairUuid.empty()) continue;
    master.row(p.pairId, p.pairUuid, p.baseName, plan.folders()[p.project].uuid, p.folder, nullptr,
               p.baseName, p.baseName + ".JPG", "IMGT", "JPGST", 0, 1, 0, 0, 0, 0, 0,
               p.folder + "/" + p.baseName + ".JPG", size, nullptr, p.date, p.date, p.date, p.pairUuid,
               p.baseName + ".JPG", size, 0, 3, p.date + 86400, p.inTrash, 1, "sRGB IEC61966-2.1",
               p.masterUuid);
  }
}

class VersionRows final {
 public:
  VersionRows(const SamplePlan& plan, SqliteWriter& writer)
      : plan_(plan),
        row_(writer.into(
            "RKVersion",
            "modelId,uuid,name,fileName,versionNumber,stackUuid,masterUuid,masterId,rawMasterUuid,"
            "nonRawMasterUuid,projectUuid,imageTimeZoneName,imageDate,mainRating,isHidden,isFlagged,"
            "isOriginal,isEditable,colorLabelIndex,masterHeight,masterWidth,processedHeight,"
            "processedWidth,rotation,hasAdjustments,hasEnabledAdjustments,hasNotes,createDate,"
            "isInTrash,exifLatitude,exifLongitude,renderVersion,videoPosterFramePoint,showInLibrary,"
            "editState,contentVersion,propertiesVersion,hasKeywords")) {}

  void write(const Photo& p) {
    one(p, p.originalVersionId, p.originalVersionUuid, 0);
    one(p, p.versionId, p.versionUuid, 1);
    if (!p.duplicateUuid.empty()) one(p, p.duplicateId, p.duplicateUuid, 2);
  }

 private:
  void one(const Photo& p, std::int64_t id, const std::string& uuid, int number) {
    const bool original = number == 0;
    const bool raw = p.kind == MasterKind::Raw;
    const bool adjustments = raw || (p.adjusted && number == 1);
    std::optional<double> latitude, longitude;
    std::optional<std::string> poster;
    if (p.position) latitude = p.position->latitude, longitude = p.position->longitude;
    if (p.kind == MasterKind::Movie) poster = "{0, 600}";
    const int upWidth = p.upright() ? p.width : p.height;
    const int upHeight = p.upright() ? p.height : p.width;
    const std::string& name = p.title.empty() || original ? p.baseName : p.title;
    const int width = p.cropped && number == 1 ? upWidth * 3 / 4 : upWidth;
    const int height = p.cropped && number == 1 ? upHeight / 2 : upHeight;
    row_.row(id, uuid, name, p.fileName, number, p.masterUuid, p.masterUuid, p.masterId,
             raw ? std::optional(p.masterUuid) : std::nullopt,
             raw ? std::nullopt : std::optional(p.masterUuid), plan_.folders()[p.project].uuid, p.zone,
             p.date, original ? 0 : p.rating, original || p.hidden, !original && p.flagged, original, 1,
             original ? -1 : p.colorLabel, p.height, p.width, height, width, p.rotation, adjustments,
             adjustments, 0, p.date + 86400, p.inTrash, latitude, longitude, 1, poster, !original, 0, 1, 1,
             !original && !p.keywords.empty());
  }

  const SamplePlan& plan_;
  Inserter row_;
};

void writeVersions(const SamplePlan& plan, SqliteWriter& writer) {
  VersionRows versions(plan, writer);
  for (std::size_t i = 0; i < plan.photoCount(); ++i) versions.write(plan.photo(i));
}

void writeNotes(const SamplePlan& plan, SqliteWriter& writer) {
  Inserter note =
      writer.into("RKNote", "modelId,uuid,attachedToClassType,attachedToUuid,propertyKey,note,createDate");
  std::int64_t id = 0;
  const auto attach = [&](const std::string& uuid, int classType, const std::string& text) {
    ++id;
    note.row(id, uuidFor(plan.options().seed, Subject::Note, static_cast<std::uint64_t>(id)), classType, uuid,
             "Note", text, 300000000.0 + static_cast<double>(id));
  };
  for (const Container& c : plan.folders())
    if (!c.note.empty()) attach(c.uuid, 1, c.note);
  for (const Container& c : plan.albums())
    if (!c.note.empty()) attach(c.uuid, 3, c.note);
  for (std::size_t i = 0; i < plan.photoCount(); i += 37)
    attach(plan.photo(i).versionUuid, 2, "Print this one");
}

// The user has reordered the albums (reversed) and some projects.
void writeCustomOrder(const SamplePlan& plan, SqliteWriter& writer) {
  Inserter order = writer.into("RKCustomSortOrder", "modelId,containerUuid,purpose,objectUuid,orderNumber");
  std::int64_t id = 0;
  std::int64_t number = static_cast<std::int64_t>(plan.albums().size() + plan.folders().size());
  for (const Container& album : plan.albums())
    if (!album.magic) order.row(++id, album.parentUuid, "albums", album.uuid, number--);
  for (const Container& folder : plan.folders())
    if (folder.modelId % 3 == 0) order.row(++id, folder.parentUuid, "folders", folder.uuid, number--);
}

}  // namespace

void writeLibraryDatabase(const SamplePlan& plan, const std::filesystem::path& file) {
  const bool everything = plan.options().everything;
  SqliteWriter writer(file, std::string(kLibrarySchema) + std::string(everything ? kLibraryFactsSchema : ""));
  if (everything) writeLibraryFacts(plan, writer);
  writeFolders(plan, writer);
  writeAlbums(plan, writer);
  writeVersions(plan, writer);
  writeMasters(plan, writer);
  writeNotes(plan, writer);
  writeCustomOrder(plan, writer);
  writer.finish();
}

}  // namespace moxtel::makelibrary
