#include "makelibrary/Everything.h"

#include <string>

#include "makelibrary/Random.h"
#include "makelibrary/SampleNames.h"

namespace moxtel::makelibrary {

namespace {

constexpr std::array<std::string_view, 5> kZones{"Europe/Zurich", "America/New_York", "Asia/Tokyo",
                                                 "GMT-0700", "Pacific/Auckland"};
// Of kPlaces.
constexpr std::array<std::string_view, kPlaces.size()> kCountries{
    "Norge",       "France",        "France", "Deutschland", "日本",         "Chile",   "Россия",
    "New Zealand", "United States", "Ísland", "Ελλάδα",      "South Africa", "Schweiz", "ישראל"};

// RKPlace.type
constexpr int kCountry = 1;
constexpr int kCity = 16;
constexpr int kSpot = 45;

// Above all numbers that the other tables' writers use.
constexpr std::int64_t kFirstRow = 100'000'000;
constexpr std::int64_t kFirstText = 100'000'000;

struct IptcText {
  std::string_view key;
  std::string_view text;
};
constexpr std::array kIptcTexts{
    IptcText{"Byline", "Hanna Müller"},
    IptcText{"CopyrightNotice", "© Hanna Müller, all rights reserved"},
    IptcText{"Headline", "A day <outside> & more"},
};
constexpr std::array kCameraTexts{
    IptcText{"Make", "Moxtel"},
    IptcText{"Model", "Moxtel Sample Camera"},
    IptcText{"LensModel", "24-200 mm f/2.8"},
};

std::int64_t placeId(std::size_t place, int level) {
  return static_cast<std::int64_t>(3 * place) + level + 1;
}

// A rectangle with its origin at the top left, as those of kCrop.
struct Box {
  double x, y, width, height;
};

// As Faces.db has it, in the stored picture.
Box storedFace(std::size_t face) { return {0.1 + 0.2 * static_cast<double>(face % 4), 0.4, 0.15, 0.2}; }

Box upright(const Box& b, int rotation) {
  if (rotation == 90) return {1 - b.y - b.height, b.x, b.height, b.width};
  if (rotation == 270) return {b.y, 1 - b.x - b.width, b.height, b.width};
  return b;
}

bool isInCrop(const Box& b) {
  return b.x >= kCrop.x && b.y >= kCrop.y && b.x + b.width <= kCrop.x + kCrop.width &&
         b.y + b.height <= kCrop.y + kCrop.height;
}

Box inCrop(const Box& b) {
  return {(b.x - kCrop.x) / kCrop.width, (b.y - kCrop.y) / kCrop.height, b.width / kCrop.width,
          b.height / kCrop.height};
}

void writeKeywords(const SamplePlan& plan, SqliteWriter& writer) {
  Inserter keyword = writer.into("RKKeyword", "modelId,uuid,name,searchName,parentId,hasChildren");
  for (std::size_t i = 0; i < kSampleKeywords.size(); ++i) {
    const auto& [name, parent] = kSampleKeywords[i];
    keyword.row(i + 1, "keyword " + std::to_string(i + 1), name, name,
                parent < 0 ? std::nullopt : std::optional(parent + 1), i == 0 || i == 1 || i == 3);
  }
  Inserter row = writer.into("RKKeywordForVersion", "modelId,versionId,keywordId");
  std::int64_t id = 0;
  for (std::size_t i = 0; i < plan.photoCount(); ++i) {
    const Photo photo = plan.photo(i);
    for (const std::size_t each : photo.keywords) row.row(++id, photo.versionId, each + 1);
  }
}

void writePlacesOfPhotos(const SamplePlan& plan, SqliteWriter& writer) {
  Inserter row = writer.into("RKPlaceForVersion", "modelId,placeId,versionId");
  std::int64_t id = 0;
  for (std::size_t i = 0; i < plan.photoCount(); ++i) {
    const Photo photo = plan.photo(i);
    if (!photo.place) continue;
    for (const int level : {0, 1, 2}) row.row(++id, placeId(*photo.place, level), photo.versionId);
  }
}

void writeEditedFaces(const SamplePlan& plan, SqliteWriter& writer) {
  Inserter row =
      writer.into("RKVersionFaceContent",
                  "modelId,versionId,faceKey,isNamed,faceRectLeft,faceRectTop,faceRectWidth,faceRectHeight");
  std::int64_t id = 0;
  for (std::size_t i = 0; i < plan.photoCount(); ++i) {
    const Photo photo = plan.photo(i);
    for (std::size_t f = 0; f < photo.faces.size(); ++f) {
      Box box = upright(storedFace(f), photo.rotation);
      if (photo.cropped && !isInCrop(box)) continue;
      if (photo.cropped) box = inCrop(box);
      const bool named = photo.faces[f].named;
      const std::int64_t key = named ? plan.persons()[photo.faces[f].person].faceKey : 0;
      row.row(++id, photo.versionId, key, named, box.x, 1 - box.y - box.height, box.width, box.height);
    }
  }
}

}  // namespace

void describeEverything(Photo& photo, const MakeLibraryOptions& options) {
  const std::size_t i = photo.index;
  if (i % 5 == 1) photo.title = "Title \"" + std::to_string(i) + "\" – Été & <Winter>";
  photo.zone = kZones[photo.project % kZones.size()];
  if (i % 4 == 0) photo.colorLabel = static_cast<int>(1 + i / 4 % 7);
  if (i % 31 == 3) photo.rating = -1;
  if (i % 29 == 7) photo.hidden = true;
  if (i % 3 == 0) photo.keywords.push_back(i / 3 % kSampleKeywords.size());
  if (i % 9 == 0) photo.keywords.push_back((i / 3 + 2) % kSampleKeywords.size());
  photo.cropped = photo.adjusted && photo.kind == MasterKind::Jpeg && i % 2 == 0;
  if (photo.position) photo.place = (photo.project + options.seed) % kPlaces.size();
  if (photo.kind != MasterKind::Raw || i % 2 != 0) return;
  photo.pairId = static_cast<std::int64_t>(options.photos + i + 1);
  photo.pairUuid = uuidFor(options.seed, Subject::Master, 1'000'000'000 + i);
}

Picture cropped(const Picture& picture) {
  const int left = static_cast<int>(picture.width * kCrop.x),
            top = static_cast<int>(picture.height * kCrop.y);
  Picture part(picture.width * 3 / 4, picture.height / 2);
  for (int y = 0; y < part.height; ++y)
    for (int x = 0; x < part.width; ++x) part.at(x, y) = picture.at(left + x, top + y);
  return part;
}

void writeLibraryFacts(const SamplePlan& plan, SqliteWriter& writer) {
  writeKeywords(plan, writer);
  writePlacesOfPhotos(plan, writer);
  writeEditedFaces(plan, writer);
}

void writePropertyFacts(const SamplePlan& plan, SqliteWriter& writer) {
  Inserter place = writer.into("RKPlace", "modelId,uuid,type,defaultName");
  for (std::size_t i = 0; i < kPlaces.size(); ++i) {
    const std::string name(kPlaces[i].name);
    place.row(placeId(i, 0), "country " + std::to_string(i), kCountry, kCountries[i]);
    place.row(placeId(i, 1), "city " + std::to_string(i), kCity, name);
    place.row(placeId(i, 2), "spot " + std::to_string(i), kSpot, "View of " + name);
  }
  Inserter text = writer.into("RKUniqueString", "modelId,stringProperty");
  std::int64_t textId = kFirstText;
  for (const IptcText& each : kIptcTexts) text.row(textId++, each.text);
  for (const IptcText& each : kCameraTexts) text.row(textId++, each.text);
  Inserter iptc = writer.into("RKIptcProperty", "modelId,versionId,propertyKey,stringId,modDate");
  Inserter exif = writer.into("RKExifStringProperty", "modelId,versionId,propertyKey,stringId,modDate");
  Inserter number =
      writer.into("RKExifNumberProperty", "modelId,versionId,propertyKey,numberProperty,modDate");
  std::int64_t id = kFirstRow;
  for (std::size_t i = 0; i < plan.photoCount(); ++i) {
    const Photo p = plan.photo(i);
    for (std::size_t k = 0; k < kIptcTexts.size() && i % 2 == 0; ++k)
      iptc.row(++id, p.versionId, kIptcTexts[k].key, kFirstText + static_cast<std::int64_t>(k), p.date);
    if (p.kind == MasterKind::Movie) continue;
    for (std::size_t k = 0; k < kCameraTexts.size(); ++k)
      exif.row(++id, p.versionId, kCameraTexts[k].key,
               kFirstText + static_cast<std::int64_t>(kIptcTexts.size() + k), p.date);
    number.row(++id, p.versionId, "ShutterSpeed", p.exposureTime, p.date);
    number.row(++id, p.versionId, "FocalLength", p.focalLength, p.date);
    number.row(++id, p.versionId, "Flash", static_cast<double>(i % 2), p.date);
    if (p.position) number.row(++id, p.versionId, "Altitude", static_cast<double>(i % 700) - 20.5, p.date);
  }
}

}  // namespace moxtel::makelibrary
