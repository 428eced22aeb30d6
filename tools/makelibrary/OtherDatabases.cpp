#include <cmath>
#include <optional>

#include "makelibrary/Everything.h"
#include "makelibrary/LibrarySchema.h"
#include "makelibrary/Random.h"
#include "makelibrary/SampleDatabases.h"
#include "makelibrary/SamplePlan.h"
#include "makelibrary/SqliteWriter.h"

namespace moxtel::makelibrary {

namespace {

constexpr int kThumbnailSide = 1024;
constexpr int kMiniSide = 360;

class ProxyRows final {
 public:
  explicit ProxyRows(SqliteWriter& writer)
      : row_(
            writer.into("RKImageProxyState",
                        "modelId,versionUuid,versionId,thumbnailsCurrent,miniThumbnailsCurrent,"
                        "tinyThumbnailsCurrent,fullSizePreviewUpToDate,thumbnailCacheIndex,thumbnailRendered,"
                        "previewRendered,previewJpegHeight,previewJpegWidth,previewJpegRotation,"
                        "fullSizePreviewPath,fullSizePreviewChangeDate,thumbnailPath,thumbnailRotation,"
                        "thumbnailHeight,thumbnailWidth,miniThumbnailRotation,miniThumbnailHeight,"
                        "miniThumbnailWidth,miniThumbnailPath,faceTilePath")) {}

  void write(const Photo& p) {
    one(p, p.versionId, p.versionUuid, p.hasAdjustments());
    if (!p.duplicateUuid.empty()) one(p, p.duplicateId, p.duplicateUuid, p.kind == MasterKind::Raw);
  }

 private:
  void one(const Photo& p, std::int64_t id, const std::string& uuid, bool adjusted) {
    const std::string base = p.proxyFolder(uuid) + "/" + p.baseName;
    std::optional<std::string> preview, tiles;
    std::optional<double> changed;
    if (adjusted) preview = base + ".jpg", changed = p.date + 90000;
    if (!p.faces.empty()) tiles = base;
    const double most = std::max(p.width, p.height);
    const double thumb = std::min(1.0, kThumbnailSide / most);
    const double mini = std::min(1.0, kMiniSide / most);
    const int width = p.upright() ? p.width : p.height;
    const int height = p.upright() ? p.height : p.width;
    const auto scaled = [](int side, double by) { return static_cast<int>(std::lround(side * by)); };
    row_.row(id, uuid, id, 1, 1, 0, adjusted, p.index, 1, adjusted, height, width, 0, preview, changed,
             base + "_1024.jpg", 0, scaled(height, thumb), scaled(width, thumb), 0, scaled(height, mini),
             scaled(width, mini), base + ".jpg", tiles);
  }

  Inserter row_;
};

// Each text once; properties refer to it by number.
enum FixedString : std::int64_t {
  kAspectMovie = 1,
  kAspectPhoto,
  kCodec,
  kSampleRate,
  kPixelSizeMovie,
  kPixelSizePhoto,
  kModel,
  kFirstCaption
};

void writeStrings(const SamplePlan& plan, SqliteWriter& writer) {
  Inserter text = writer.into("RKUniqueString", "modelId,stringProperty");
  text.row(static_cast<std::int64_t>(kAspectMovie), "16:9");
  text.row(static_cast<std::int64_t>(kAspectPhoto), "3:2");
  text.row(static_cast<std::int64_t>(kCodec), "Photo - JPEG");
  text.row(static_cast<std::int64_t>(kSampleRate), "44100");
  text.row(static_cast<std::int64_t>(kPixelSizeMovie), "320 × 180");
  text.row(static_cast<std::int64_t>(kPixelSizePhoto), "1500 × 1000 (1.5 MP)");
  text.row(static_cast<std::int64_t>(kModel), "Moxtel Sample Camera");
  std::int64_t id = kFirstCaption;
  for (const std::string& caption : plan.captions()) text.row(id++, caption);
}

class PropertyRows final {
 public:
  PropertyRows(SqliteWriter& writer, bool smartAlbums)
      : smartAlbums_(smartAlbums),
        iptc_(writer.into("RKIptcProperty", "modelId,versionId,propertyKey,stringId,modDate")),
        exif_(writer.into("RKExifStringProperty", "modelId,versionId,propertyKey,stringId,modDate")),
        number_(writer.into("RKExifNumberProperty", "modelId,versionId,propertyKey,numberProperty,modDate")),
        other_(
            writer.into("RKOtherProperty", "modelId,versionId,propertyKey,propertyType,stringId,modDate")) {}

  void write(const Photo& p) {
    const auto text = [](std::size_t caption) {
      return kFirstCaption + static_cast<std::int64_t>(caption) - 1;
    };
    if (p.caption) iptc_.row(++iptcId_, p.versionId, "Caption/Abstract", text(p.caption), p.date);
    if (p.comment) exif_.row(++exifId_, p.versionId, "ImageDescription", text(p.comment), p.date);
    if (p.kind == MasterKind::Movie)
      movie(p);
    else
      still(p);
  }

 private:
  void number(const Photo& p, const char* key, double value) {
    number_.row(++numberId_, p.versionId, key, value, p.date);
  }
  void other(const Photo& p, const char* key, FixedString text) {
    other_.row(++otherId_, p.versionId, key, 1, static_cast<std::int64_t>(text), p.date);
  }
  void still(const Photo& p) {
    number(p, "PixelHeight", p.height);
    number(p, "ISOSpeedRating", p.iso);
    number(p, "ApertureValue", p.aperture);
    if (p.position) {
      number(p, "Latitude", p.position->latitude);
      number(p, "Longitude", p.position->longitude);
    }
    if (p.position && smartAlbums_ && !p.duplicateUuid.empty()) {
      number_.row(++numberId_, p.duplicateId, "Latitude", p.position->latitude, p.date);
      number_.row(++numberId_, p.duplicateId, "Longitude", p.position->longitude, p.date);
    }
    other(p, "AspectRatio", kAspectPhoto);
    if (p.index % 4 == 0) other(p, "PixelSize", kPixelSizePhoto);
  }
  void movie(const Photo& p) {
    number(p, "FPS", 8);
    number(p, "DataRate", 1250.5);
    number(p, "MovieDuration", p.duration);
    other(p, "MediaCodecName", kCodec);
    other(p, "AudioTrackSampleRate", kSampleRate);
    other(p, "AspectRatio", kAspectMovie);
    other(p, "PixelSize", kPixelSizeMovie);
    exif_.row(++exifId_, p.versionId, "Model", static_cast<std::int64_t>(kModel), p.date);
  }

  bool smartAlbums_;
  Inserter iptc_, exif_, number_, other_;
  std::int64_t iptcId_ = 0, exifId_ = 0, numberId_ = 0, otherId_ = 0;
};

void writePersons(const SamplePlan& plan, SqliteWriter& writer) {
  Inserter name = writer.into("RKFaceName",
                              "modelId,uuid,faceKey,keyVersionUuid,name,fullName,similarFacesCached,"
                              "similarFacesOpen,manualOrder,lastUsedDate");
  for (const Person& person : plan.persons()) {
    std::optional<std::string> key;
    if (plan.photoCount() > 0) key = plan.photo(person.keyPhoto).versionUuid;
    name.row(person.faceKey, person.uuid, person.faceKey, key, person.name, person.name, 0, 0, person.faceKey,
             320000000.0);
  }
}

void writeDetectedFaces(const SamplePlan& plan, SqliteWriter& writer) {
  Inserter face =
      writer.into("RKDetectedFace",
                  "modelId,uuid,masterUuid,faceKey,correlatedFaceKey,faceIndex,width,height,topLeftX,"
                  "topLeftY,topRightX,topRightY,bottomLeftX,bottomLeftY,bottomRightX,bottomRightY,"
                  "confidence,rejected,faceCount,ignore,faceFlags,hasFaceTile,tileFacePosition,"
                  "faceAngle,faceDirectionAngle,skippedInUnnamedFaces");
  std::int64_t id = 0;
  for (std::size_t i = 0; i < plan.photoCount(); ++i) {
    const Photo p = plan.photo(i);
    for (std::size_t f = 0; f < p.faces.size(); ++f) {
      ++id;
      const double left = 0.1 + 0.2 * static_cast<double>(f % 4);
      const std::int64_t key = p.faces[f].named ? plan.persons()[p.faces[f].person].faceKey : 0;
      face.row(id, uuidFor(plan.options().seed, Subject::Detected, static_cast<std::uint64_t>(id)),
               p.masterUuid, key, key, f, p.width, p.height, left, 0.6, left + 0.15, 0.6, left, 0.4,
               left + 0.15, 0.4, 4200.0, 0, p.faces.size(), 0, 0, 1, f, 0.0, 0.0, 0);
    }
  }
}

}  // namespace

void writeImageProxiesDatabase(const SamplePlan& plan, const std::filesystem::path& file) {
  SqliteWriter writer(file, kImageProxiesSchema);
  {
    ProxyRows rows(writer);
    for (std::size_t i = 0; i < plan.photoCount(); ++i) rows.write(plan.photo(i));
  }
  writer.finish();
}

void writePropertiesDatabase(const SamplePlan& plan, const std::filesystem::path& file) {
  const bool everything = plan.options().everything;
  SqliteWriter writer(file,
                      std::string(kPropertiesSchema) + std::string(everything ? kPropertiesFactsSchema : ""));
  writeStrings(plan, writer);
  if (everything) writePropertyFacts(plan, writer);
  {
    PropertyRows rows(writer, plan.options().smartAlbums);
    for (std::size_t i = 0; i < plan.photoCount(); ++i) rows.write(plan.photo(i));
  }
  writer.finish();
}

void writeFacesDatabase(const SamplePlan& plan, const std::filesystem::path& file) {
  SqliteWriter writer(file, kFacesSchema);
  writePersons(plan, writer);
  writeDetectedFaces(plan, writer);
  writer.finish();
}

}  // namespace moxtel::makelibrary
