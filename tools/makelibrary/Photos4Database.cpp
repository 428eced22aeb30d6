#include <optional>

#include "makelibrary/LibrarySchema.h"
#include "makelibrary/PhotosPlan.h"
#include "makelibrary/Random.h"
#include "makelibrary/SampleDatabases.h"
#include "makelibrary/SamplePlan.h"
#include "makelibrary/SmartAlbums.h"
#include "makelibrary/SqliteWriter.h"

namespace moxtel::makelibrary {

namespace {

enum VersionType : std::uint8_t { kImage = 2, kMovie = 8 };
// What a file in resources/ belongs to, and what it is.
enum AttachedType : std::uint8_t { kToMaster = 1, kToVersion = 2, kToFace = 5 };
enum ResourceType : std::uint8_t { kRendered = 4, kFaceTile = 6 };

void writeVersion(SqliteWriter& writer, std::string_view version) {
  Inserter row = writer.into("LiGlobals", "modelId,keyPath,value");
  row.row(1, "libraryVersion", version);
}

void writeFolders(const SamplePlan& plan, SqliteWriter& writer) {
  Inserter row = writer.into("RKFolder",
                             "modelId,uuid,folderType,name,parentFolderUuid,folderPath,createDate,isHidden,"
                             "isHiddenWhenEmpty,isFavorite,isInTrash,isMagic,colorLabelIndex,sortAscending");
  for (const Container& folder : plan.folders()) {
    if (folder.type != 1) continue;
    row.row(folder.modelId, folder.uuid, 1, folder.name.empty() ? std::nullopt : std::optional(folder.name),
            folder.parentUuid.empty() ? std::nullopt : std::optional(folder.parentUuid), folder.folderPath,
            222220800.0, 0, folder.hiddenWhenEmpty, 0, folder.inTrash, folder.magic, 0, 1);
  }
}

// The classes of a rule have another prefix than iPhoto's.
std::string ruleOfPhotos(std::string rule) {
  for (const std::string_view name : {"RKSingleItemQuery", "RKMultiItemQuery"})
    for (std::size_t at = rule.find(name); at != std::string::npos; at = rule.find(name, at))
      rule[at + 1] = 'D';
  return rule;
}

void writeAlbums(const SamplePlan& plan, SqliteWriter& writer) {
  Inserter row =
      writer.into("RKAlbum",
                  "modelId,uuid,albumType,albumSubclass,name,folderUuid,queryFolderUuid,posterVersionUuid,"
                  "sortKeyPath,sortAscending,createDate,isFavorite,isInTrash,isHidden,isMagic,"
                  "colorLabelIndex,queryData");
  Inserter member = writer.into("RKAlbumVersion", "modelId,versionId,albumId");
  Inserter order = writer.into("RKCustomSortOrder", "modelId,containerUuid,objectUuid,orderNumber");
  std::int64_t members = 0;
  for (const Container& album : plan.albums()) {
    const auto indexes = plan.membersOf(album);
    std::optional<std::string> poster;
    if (!indexes.empty() && album.modelId % 2 == 0) poster = plan.photo(indexes.front()).versionUuid;
    Cell rule;
    if (album.smart) rule = Blob{ruleOfPhotos(album.smart->queryData)};
    row.row(album.modelId, album.uuid, album.type, album.subclass, album.name, album.parentUuid,
            album.subclass == 2 ? std::optional<std::string>("LibraryFolder") : std::nullopt, poster,
            "exifProperties.ImageDate", 1, 250000000.0 + static_cast<double>(album.modelId), 0, album.inTrash,
            0, album.magic, 0, rule);
    for (const std::size_t index : indexes) member.row(++members, plan.photo(index).versionId, album.modelId);
    if (!album.magic) order.row(album.modelId, album.parentUuid, album.uuid, 1000 - album.modelId);
  }
}

void writeMoments(const SamplePlan& plan, SqliteWriter& writer) {
  Inserter row = writer.into("RKMoment", "modelId,uuid,versionCount,startDate,endDate,representativeDate");
  for (const Container& project : plan.folders()) {
    if (project.type != 2 || project.end == project.first) continue;
    const double first = plan.photo(project.first).date, last = plan.photo(project.end - 1).date;
    row.row(project.modelId, project.uuid, project.end - project.first, first, last, first);
  }
}

class VersionRows final {
 public:
  VersionRows(const SamplePlan& plan, SqliteWriter& writer)
      : plan_(plan),
        version_(writer.into(
            "RKVersion",
            "modelId,uuid,orientation,name,createDate,isFavorite,isInTrash,isHidden,colorLabelIndex,"
            "fileIsReference,type,adjustmentUuid,fileName,imageDate,versionNumber,masterUuid,"
            "masterId,imageTimeZoneName,mainRating,isFlagged,masterHeight,masterWidth,"
            "processedHeight,processedWidth,hasAdjustments,latitude,longitude,exifLatitude,"
            "exifLongitude,showInLibrary,hasKeywords,momentUuid,extendedDescription")),
        master_(writer.into(
            "RKMaster",
            "modelId,uuid,name,createDate,isInTrash,fileIsReference,isMissing,duration,fileSize,width,"
            "height,UTI,fileName,isTrulyRaw,imagePath,imageDate,originalFileName,alternateMasterUuid")),
        resource_(
            writer.into("RKModelResource",
                        "modelId,UTI,isOnDisk,attachedModelId,attachedModelType,resourceType,resourceTag")),
        face_(writer.into(
            "RKFace",
            "modelId,uuid,isInTrash,personId,imageModelId,sourceWidth,sourceHeight,centerX,centerY,size,"
            "hidden")) {}

  void write(const Photo& photo) {
    version(photo);
    const PhotosState state = photosState(photo);
    const std::string rawUuid = "RAW of " + photo.masterUuid;
    const std::int64_t rawId = photo.masterId + 10'000'000;
    const bool isRaw = photo.kind == MasterKind::Raw;
    master(photo, {photo.masterId, photo.masterUuid, photo.fileName, isRaw, state.cloudOnly},
           state.rawPair ? std::optional(rawUuid) : std::nullopt);
    if (state.rawPair) master(photo, {rawId, rawUuid, rawOfPair(photo), true, false}, photo.masterUuid);
    if (isRaw)
      resource_.row(developedId(photo), "public.jpeg", 1, photo.masterId, static_cast<int>(kToMaster),
                    static_cast<int>(kRendered), "UNADJUSTEDRAW");
    if (photo.adjusted)
      resource_.row(renderedId(photo), "public.jpeg", 1, photo.versionId, static_cast<int>(kToVersion),
                    static_cast<int>(kRendered), adjustmentUuid(photo));
    for (std::size_t f = 0; f < photo.faces.size(); ++f) face(photo, f);
  }
  // The face that shows a person, by the person's place in the plan.
  const std::vector<std::optional<std::int64_t>>& keyFaces() const { return keyFaces_; }

 private:
  struct Master {
    std::int64_t id;
    std::string uuid, fileName;
    bool isRaw, isMissing;
  };
  void master(const Photo& photo, const Master& one, const std::optional<std::string>& other) {
    master_.row(one.id, one.uuid, photo.baseName, photo.date + 86400, photo.inTrash, 0, one.isMissing,
                photo.duration, 900000, photo.width, photo.height,
                one.isRaw ? "com.adobe.raw-image" : "public.jpeg", one.fileName, one.isRaw,
                photo.folder + "/" + one.fileName, photo.date, one.fileName, other);
  }
  void version(const Photo& photo) {
    const PhotosState state = photosState(photo);
    const auto caption =
        photo.caption ? std::optional(plan_.captions()[photo.caption - 1]) : std::optional<std::string>();
    std::optional<double> latitude, longitude;
    if (photo.position) latitude = photo.position->latitude, longitude = photo.position->longitude;
    const bool turned = !photo.upright();
    version_.row(photo.versionId, photo.versionUuid, exifOrientation(photo),
                 photo.index % 3 == 0 ? std::optional(photo.baseName) : std::nullopt, photo.date + 86400,
                 photo.flagged, photo.inTrash, state.hidden, -1, 0,
                 static_cast<int>(photo.kind == MasterKind::Movie ? kMovie : kImage), adjustmentUuid(photo),
                 photo.fileName, photo.date, 1, photo.masterUuid, photo.masterId, "Europe/Zurich",
                 photo.rating, photo.flagged, photo.height, photo.width, turned ? photo.width : photo.height,
                 turned ? photo.height : photo.width, photo.adjusted, latitude, longitude, latitude,
                 longitude, !state.burst && !state.shared, 0, plan_.folders()[photo.project].uuid, caption);
  }
  void face(const Photo& photo, std::size_t number) {
    const DetectedFace& detected = photo.faces[number];
    const std::int64_t id = faceTileId(photo, number);
    std::optional<std::int64_t> person;
    if (detected.named) person = plan_.persons()[detected.person].faceKey;
    face_.row(id, longUuid("face" + std::to_string(id)), 0, person, photo.versionId, photo.width,
              photo.height, 0.15 + 0.2 * static_cast<double>(number % 4), 0.5, 0.2, 0);
    resource_.row(id, "public.jpeg", 1, id, static_cast<int>(kToFace), static_cast<int>(kFaceTile), nullptr);
    keyFaces_.resize(plan_.persons().size());
    if (detected.named && plan_.persons()[detected.person].keyPhoto == photo.index)
      keyFaces_[detected.person] = id;
  }

  const SamplePlan& plan_;
  Inserter version_, master_, resource_, face_;
  std::vector<std::optional<std::int64_t>> keyFaces_;
};

void writePersons(const SamplePlan& plan, const std::vector<std::optional<std::int64_t>>& keyFaces,
                  SqliteWriter& writer) {
  Inserter row = writer.into(
      "RKPerson",
      "modelId,uuid,name,displayName,representativeFaceId,manualOrder,personType,mergeTargetPersonId");
  for (std::size_t p = 0; p < plan.persons().size(); ++p) {
    const Person& person = plan.persons()[p];
    row.row(person.faceKey, person.uuid, person.name, person.name,
            p < keyFaces.size() ? keyFaces[p] : std::nullopt, person.faceKey, 1, nullptr);
  }
  const auto next = static_cast<std::int64_t>(plan.persons().size() + 1);
  row.row(next, longUuid("without a name"), "", "", nullptr, next, 1, nullptr);
  row.row(next + 1, longUuid("merged"), plan.persons()[0].name, plan.persons()[0].name, nullptr, next + 1, 1,
          plan.persons()[0].faceKey);
}

}  // namespace

void writePhotos4Database(const SamplePlan& plan, const std::filesystem::path& file) {
  SqliteWriter writer(file, kPhotos4Schema);
  writeVersion(writer, "4025");
  writeFolders(plan, writer);
  writeAlbums(plan, writer);
  writeMoments(plan, writer);
  {
    VersionRows versions(plan, writer);
    for (std::size_t i = 0; i < plan.photoCount(); ++i) versions.write(plan.photo(i));
    writePersons(plan, versions.keyFaces(), writer);
  }
  writer.finishWithWriteAheadLog();
}

void writePhotosStub(const std::filesystem::path& file) {
  SqliteWriter writer(file, kPhotos4Schema);
  writeVersion(writer, "6000");
  writer.finishWithWriteAheadLog();
}

}  // namespace moxtel::makelibrary
