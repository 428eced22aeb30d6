#include <array>
#include <optional>
#include <vector>

#include "makelibrary/PhotosModel.h"
#include "makelibrary/PhotosPlan.h"
#include "makelibrary/Random.h"
#include "makelibrary/SampleDatabases.h"
#include "makelibrary/SamplePlan.h"
#include "makelibrary/SqliteWriter.h"

namespace moxtel::makelibrary {

namespace {

constexpr double kNoPosition = -180;

std::string list(std::initializer_list<std::string_view> names) {
  std::string all;
  for (const std::string_view name : names) all.append(all.empty() ? "" : ",").append(name);
  return all;
}

std::int64_t idOf(const Photo& photo) { return static_cast<std::int64_t>(photo.index + 1); }
std::int64_t idOf(std::size_t index) { return static_cast<std::int64_t>(index + 1); }

std::string_view typeOf(MasterKind kind) {
  switch (kind) {
    case MasterKind::Raw:
      return "com.adobe.raw-image";
    case MasterKind::Tiff:
      return "public.tiff";
    case MasterKind::Movie:
      return "com.apple.quicktime-movie";
    case MasterKind::Jpeg:
      break;
  }
  return "public.jpeg";
}

constexpr int kLivePhoto = 2;

void writeEntities(const PhotosModel& model, SqliteWriter& writer) {
  Inserter row = writer.into("Z_PRIMARYKEY", "Z_ENT,Z_NAME,Z_SUPER,Z_MAX");
  for (const auto& [name, number] : model.entities()) row.row(number, name, 0, 1'000'000);
}

class AssetRows final {
 public:
  AssetRows(const SamplePlan& plan, const PhotosModel& model, SqliteWriter& writer)
      : plan_(plan),
        model_(model),
        entity_(model.entity("Asset")),
        asset_(writer.into(
            model.assets,
            list({"Z_PK,Z_ENT,Z_OPT,ZUUID,ZKIND,ZORIENTATION,ZLATITUDE,ZLONGITUDE,ZMOMENT,ZWIDTH,ZHEIGHT,"
                  "ZDATECREATED,"
                  "ZADDEDDATE,ZTRASHEDSTATE,ZHIDDEN,ZVISIBILITYSTATE,ZFAVORITE,ZDIRECTORY,ZFILENAME,"
                  "ZUNIFORMTYPEIDENTIFIER,ZADDITIONALATTRIBUTES,ZCLOUDLOCALSTATE,ZDURATION,ZKINDSUBTYPE",
                  model.adjusted, model.shared}))),
        attributes_(
            writer.into("ZADDITIONALASSETATTRIBUTES",
                        "Z_PK,Z_ENT,Z_OPT,ZASSET,ZASSETDESCRIPTION,ZORIGINALFILENAME,ZTITLE,ZORIGINALWIDTH,"
                        "ZORIGINALHEIGHT,ZORIGINALORIENTATION,ZTIMEZONEOFFSET,ZTIMEZONENAME")),
        description_(writer.into("ZASSETDESCRIPTION", "Z_PK,Z_ENT,Z_OPT,ZASSETATTRIBUTES,ZLONGDESCRIPTION")) {
  }

  void write(const Photo& photo) {
    const PhotosState state = photosState(photo);
    const std::string uuid = longUuid(photo.versionUuid);
    const bool turned = photo.rotation != 0;
    asset_.row(idOf(photo), entity_, 1, uuid, photo.kind == MasterKind::Movie, exifOrientation(photo),
               photo.position ? photo.position->latitude : kNoPosition,
               photo.position ? photo.position->longitude : kNoPosition,
               state.shared ? std::nullopt : std::optional(momentOf(photo)),
               turned ? photo.height : photo.width, turned ? photo.width : photo.height, photo.date,
               photo.date + 86400, photo.inTrash, state.hidden, state.burst ? 2 : 0, photo.flagged,
               uuid.substr(0, 1), uuid + std::string(photosExtension(photo.kind)), typeOf(photo.kind),
               idOf(photo), state.cloudOnly, photo.duration, state.live ? kLivePhoto : 0, photo.adjusted,
               sharedMark(photo, state));
    const std::optional<std::int64_t> described = photo.caption ? std::optional(idOf(photo)) : std::nullopt;
    const bool titled = photo.index % 3 == 0;
    attributes_.row(idOf(photo), model_.entity("AdditionalAssetAttributes"), 1, idOf(photo), described,
                    photo.fileName, titled ? std::optional(photo.baseName) : std::nullopt, photo.width,
                    photo.height, exifOrientation(photo), 3600, "Europe/Zurich");
    if (described) description_.row(*described, 2, 1, idOf(photo), plan_.captions()[photo.caption - 1]);
  }

 private:
  std::int64_t momentOf(const Photo& photo) const { return plan_.folders()[photo.project].modelId; }
  // Photos 5 keeps a date of publishing, the later ones a number.
  Cell sharedMark(const Photo& photo, const PhotosState& state) const {
    if (model_.shared == "ZBUNDLESCOPE") return static_cast<std::int64_t>(state.shared ? 1 : 0);
    return state.shared ? Cell(photo.date + 90000) : Cell();
  }

  const SamplePlan& plan_;
  const PhotosModel& model_;
  std::int64_t entity_;
  Inserter asset_, attributes_, description_;
};

void writeMoments(const SamplePlan& plan, const PhotosModel& model, SqliteWriter& writer) {
  Inserter moment = writer.into(
      "ZMOMENT",
      "Z_PK,Z_ENT,Z_OPT,ZUUID,ZTITLE,ZSTARTDATE,ZENDDATE,ZREPRESENTATIVEDATE,ZTRASHEDSTATE,ZCACHEDCOUNT");
  for (const Container& project : plan.folders()) {
    if (project.type != 2 || project.end == project.first) continue;
    const double first = plan.photo(project.first).date, last = plan.photo(project.end - 1).date;
    moment.row(project.modelId, model.entity("Moment"), 1, longUuid(project.uuid),
               project.name.empty() ? std::nullopt : std::optional(project.name), first, last, first, 0,
               project.end - project.first);
  }
}

void writeAlbums(const SamplePlan& plan, const PhotosModel& model, SqliteWriter& writer) {
  const bool column = model.keyAssets.empty();
  Inserter row =
      writer.into("ZGENERICALBUM",
                  list({"Z_PK,Z_ENT,Z_OPT,ZKIND,ZUUID,ZTITLE,ZPARENTFOLDER,Z_FOK_PARENTFOLDER,ZTRASHEDSTATE,"
                        "ZCACHEDCOUNT,ZCREATIONDATE",
                        column ? "ZKEYASSET" : "ZISPINNED"}));
  Inserter member =
      writer.into(model.albumAssets, list({model.albumColumn, model.assetColumn, model.orderColumn}));
  std::optional<Inserter> key;
  if (!column)
    key.emplace(
        writer.into(model.keyAssets, list({model.keyAssetsAlbum, model.keyAssetsAsset, "Z_FOK_3KEYASSETS"})));
  for (const PhotosAlbum& album : photosAlbums(plan)) {
    const std::optional<std::int64_t> parent = album.parent ? std::optional(album.parent) : std::nullopt;
    const bool hasKey = album.members.size() > 1 && album.id % 2 == 0;
    Cell last;
    if (column && hasKey) last = idOf(album.members[1]);
    row.row(album.id, model.entity("Album"), 1, static_cast<int>(album.kind), album.uuid,
            album.title.empty() ? std::nullopt : std::optional(album.title), parent, 2048 * (100 - album.id),
            album.inTrash, album.members.size(), 250000000.0 + static_cast<double>(album.id), last);
    if (key && hasKey) key->row(album.id, idOf(album.members[1]), 1024);
    std::int64_t place = 0;
    for (const std::size_t index : album.members) member.row(album.id, idOf(index), place += 1024);
  }
}

// Beside the plan's persons: one without a name, one that was merged into the first, and a second one with
// the first one's name.
class PersonRows final {
 public:
  PersonRows(const SamplePlan& plan, const PhotosModel& model, SqliteWriter& writer)
      : plan_(plan),
        model_(model),
        person_(writer.into(
            "ZPERSON",
            "Z_PK,Z_ENT,Z_OPT,ZPERSONUUID,ZFULLNAME,ZDISPLAYNAME,ZKEYFACE,ZMERGETARGETPERSON,ZTYPE,"
            "ZMANUALORDER")),
        face_(writer.into(
            "ZDETECTEDFACE",
            list({"Z_PK,Z_ENT,Z_OPT,ZUUID,ZCENTERX,ZCENTERY,ZSIZE,ZSOURCEWIDTH,ZSOURCEHEIGHT,ZHIDDEN,"
                  "ZISINTRASH,ZFACECROP",
                  model.faceAsset, model.facePerson}))) {}

  void write() {
    std::vector<std::optional<std::int64_t>> keyFaces(plan_.persons().size());
    for (std::size_t i = 0; i < plan_.photoCount(); ++i) {
      const Photo photo = plan_.photo(i);
      for (std::size_t f = 0; f < photo.faces.size(); ++f) {
        face(photo, f);
        const DetectedFace& detected = photo.faces[f];
        if (detected.named && plan_.persons()[detected.person].keyPhoto == i)
          keyFaces[detected.person] = faces_;
      }
    }
    for (std::size_t p = 0; p < plan_.persons().size(); ++p) {
      const Person& one = plan_.persons()[p];
      person(one.faceKey, one.uuid, one.name, keyFaces[p], std::nullopt);
    }
    const auto next = static_cast<std::int64_t>(plan_.persons().size() + 1);
    person(next, "without a name", "", std::nullopt, std::nullopt);
    person(next + 1, "merged", plan_.persons()[0].name, std::nullopt, plan_.persons()[0].faceKey);
    person(next + 2, "same name", plan_.persons()[0].name, std::nullopt, std::nullopt);
  }

 private:
  void face(const Photo& photo, std::size_t number) {
    const DetectedFace& detected = photo.faces[number];
    ++faces_;
    const double x = 0.15 + 0.2 * static_cast<double>(number % 4);
    std::optional<std::int64_t> person;
    if (detected.named) person = plan_.persons()[detected.person].faceKey;
    face_.row(faces_, model_.entity("DetectedFace"), 1, longUuid("face" + std::to_string(faces_)), x, 0.5,
              0.2, photo.width, photo.height, 0, 0, nullptr, idOf(photo), person);
  }
  void person(std::int64_t id, const std::string& uuid, const std::string& name,
              std::optional<std::int64_t> keyFace, std::optional<std::int64_t> target) {
    const auto text = name.empty() ? std::nullopt : std::optional(name);
    person_.row(id, model_.entity("Person"), 1, longUuid(uuid), text, text, keyFace, target, 1, id);
  }

  const SamplePlan& plan_;
  const PhotosModel& model_;
  Inserter person_, face_;
  std::int64_t faces_ = 0;
};

void writeKeywords(const SamplePlan& plan, const PhotosModel& model, SqliteWriter& writer) {
  static constexpr std::array kKeywords{"Beach", "Family", "Été", "50% off", "Grandma's"};
  Inserter keyword = writer.into("ZKEYWORD", "Z_PK,Z_ENT,Z_OPT,ZTITLE,ZUUID");
  Inserter of = writer.into("Z_1KEYWORDS", list({"Z_1ASSETATTRIBUTES", model.keywordColumn}));
  for (std::size_t k = 0; k < kKeywords.size(); ++k)
    keyword.row(idOf(k), model.entity("Keyword"), 1, kKeywords[k], longUuid(kKeywords[k]));
  for (std::size_t i = 0; i < plan.photoCount(); i += 3) of.row(idOf(i), idOf(i / 3 % kKeywords.size()));
}

}  // namespace

void writePhotosDatabase(const SamplePlan& plan, const std::filesystem::path& file) {
  const PhotosModel model(plan.options().kind);
  SqliteWriter writer(file, model.schema());
  writeEntities(model, writer);
  writeMoments(plan, model, writer);
  writeAlbums(plan, model, writer);
  PersonRows(plan, model, writer).write();
  writeKeywords(plan, model, writer);
  {
    AssetRows assets(plan, model, writer);
    for (std::size_t i = 0; i < plan.photoCount(); ++i) assets.write(plan.photo(i));
  }
  writer.finishWithWriteAheadLog();
}

}  // namespace moxtel::makelibrary
