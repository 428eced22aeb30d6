#include "library/facts/PhotoFactsReader.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <unordered_map>

#include "library/LibraryLocation.h"
#include "library/PathNames.h"
#include "library/database/LibraryDatabases.h"
#include "library/facts/FactColumns.h"
#include "library/facts/FactFaces.h"
#include "library/facts/FactNames.h"
#include "library/facts/FactProperties.h"
#include "library/facts/FactQueries.h"
#include "library/facts/PictureShape.h"
#include "library/facts/RawNames.h"

namespace moxtel {

namespace {

enum VersionColumn {
  kModelId,
  kUuid,
  kMasterUuid,
  kMasterId,
  kVersionNumber,
  kName,
  kFileName,
  kDate,
  kZone,
  kRating,
  kHidden,
  kFlagged,
  kLabel,
  kWidth,
  kHeight,
  kProcessedWidth,
  kProcessedHeight,
  kRotation,
  kAdjusted,
  kTrash,
  kLatitude,
  kLongitude,
  kPoster,
  kProject
};
enum MasterColumn {
  kImagePath,
  kMasterFileName,
  kOriginalName,
  kType,
  kTrulyRaw,
  kMissing,
  kMasterTrash,
  kDuration,
  kReference,
  kVolume,
  kAlternate
};
constexpr SqlText kLast = "SELECT modelId FROM RKVersion ORDER BY modelId DESC LIMIT 1";

std::string_view stemOf(std::string_view fileName) { return fileName.substr(0, fileName.rfind('.')); }

// The lines of a path column, absolute.
std::vector<std::string> candidates(const std::string& base, std::string_view lines, bool mayBeSeveral) {
  constexpr std::size_t kMost = 16;
  std::vector<std::string> paths;
  while (!lines.empty() && paths.size() < kMost) {
    const std::size_t end = mayBeSeveral ? std::min(lines.find('\n'), lines.size()) : lines.size();
    if (end > 0) paths.push_back(appendingPathComponent(base, lines.substr(0, end)));
    lines.remove_prefix(std::min(end + 1, lines.size()));
  }
  return paths;
}

// Photos keeps these beside the originals and the edited pictures.
bool isSmallPicture(std::string_view path) { return path.find("/derivatives/") != std::string_view::npos; }

}  // namespace

// The photos of one range.
class PhotoFactsReader::Reading final {
 public:
  Reading(LibraryDatabases& databases, const std::string& library, FactNames& names, std::int64_t first,
          std::int64_t last)
      : databases_(databases),
        library_(library),
        names_(names),
        first_(first),
        last_(last),
        kind_(databases.layout().kind),
        hasCandidates_(databases.layout().hasPathCandidates) {}

  // False when something could not be read.
  bool read() {
    bool complete = readVersions();
    for (PhotoFacts& photo : photos_) complete = readMaster(photo) && complete;
    complete = readPreviews() && complete;
    complete = readKeywords() && complete;
    complete = readPlaces() && complete;
    if (kind_ == LibraryKind::Photos5) complete = readLivePhotos() && complete;
    complete = addProperties(databases_, first_, last_, photos_) && complete;
    return addFaces(databases_, names_, first_, last_, photos_) && complete;
  }
  std::vector<PhotoFacts>& photos() { return photos_; }

 private:
  bool readVersions();
  PhotoFacts versionOf(const Query& row);
  void addShape(const Query& row, PhotoFacts& photo);
  bool readMaster(PhotoFacts& photo);
  void addOriginal(const Query& row, PhotoFacts& photo);
  void addNames(const Query& row, PhotoFacts& photo);
  void addAlternate(const Value& masterUuid, PhotoFacts& photo);
  bool readPreviews();
  bool readKeywords();
  bool readPlaces();
  bool readLivePhotos();

  std::string baseOf(std::string_view folder) const {
    return hasCandidates_ ? library_ : appendingPathComponent(library_, folder);
  }
  Query ofRange(DatabaseFile file, SqlText sql) { return databases_.runUnlogged(file, sql, {first_, last_}); }
  PhotoFacts* find(std::int64_t modelId) {
    const auto found =
        std::lower_bound(photos_.begin(), photos_.end(), modelId,
                         [](const PhotoFacts& photo, std::int64_t id) { return photo.modelId < id; });
    return found == photos_.end() || found->modelId != modelId ? nullptr : &*found;
  }

  LibraryDatabases& databases_;
  const std::string& library_;
  FactNames& names_;
  const std::int64_t first_;
  const std::int64_t last_;
  const LibraryKind kind_;
  const bool hasCandidates_;
  std::vector<PhotoFacts> photos_;
};

bool PhotoFactsReader::Reading::readVersions() {
  Query row = ofRange(DatabaseFile::Library, fact_query::kVersions);
  while (row.step()) photos_.push_back(versionOf(row));
  return !row.failed();
}

PhotoFacts PhotoFactsReader::Reading::versionOf(const Query& row) {
  PhotoFacts photo;
  photo.modelId = row.integer64Column(kModelId);
  photo.masterId = row.integer64Column(kMasterId);
  photo.uuid = textOf(row, kUuid);
  photo.masterUuid = textOf(row, kMasterUuid);
  photo.isOnlyInAlbums = isNull(row, kVersionNumber);
  if (!photo.isOnlyInAlbums) photo.versionNumber = row.integerColumn(kVersionNumber);
  photo.versionName = textOf(row, kName);
  photo.fileName = textOf(row, kFileName);
  photo.timeZoneName = textOf(row, kZone);
  if (const auto date = realOf(row, kDate)) {
    const double moment = *date + kReferenceDateAfterUnixEpoch;
    photo.wallClock = names_.zones().wallClock(photo.timeZoneName, moment);
    if (photo.wallClock) photo.imageDate = moment;
  }
  photo.rating = ratingOf(row, kRating);
  photo.colorLabel = colorLabelOf(row, kLabel);
  photo.isHidden = row.integerColumn(kHidden) != 0;
  photo.isFlagged = row.integerColumn(kFlagged) != 0;
  photo.isInTrash = row.integerColumn(kTrash) != 0;
  photo.isMovie = !textOf(row, kPoster).empty();
  addShape(row, photo);
  const auto latitude = realOf(row, kLatitude), longitude = realOf(row, kLongitude);
  if (latitude && longitude && std::abs(*latitude) <= 90 && std::abs(*longitude) <= 180 &&
      (*latitude != 0 || *longitude != 0)) {
    photo.latitude = latitude;
    photo.longitude = longitude;
  }
  const std::string project = photo.isOnlyInAlbums ? std::string() : textOf(row, kProject);
  if (const FactNames::Event* event = project.empty() ? nullptr : names_.event(project)) {
    photo.eventId = event->modelId;
    photo.eventUuid = project;
    photo.eventName = event->name;
    photo.isInTrash = photo.isInTrash || event->isInTrash;
  }
  return photo;
}

void PhotoFactsReader::Reading::addShape(const Query& row, PhotoFacts& photo) {
  photo.isAdjusted = row.integerColumn(kAdjusted) != 0;
  const PictureShape shape = shapeOf(
      {row.integer64Column(kWidth), row.integer64Column(kHeight), row.integer64Column(kProcessedWidth),
       row.integer64Column(kProcessedHeight), row.integer64Column(kRotation), photo.isAdjusted},
      kind_);
  photo.storedWidth = shape.storedWidth;
  photo.storedHeight = shape.storedHeight;
  photo.width = shape.width;
  photo.height = shape.height;
  photo.rotation = shape.rotation;
  photo.isCropped = shape.isCropped;
}

bool PhotoFactsReader::Reading::readMaster(PhotoFacts& photo) {
  Value alternate;
  {
    Query row = databases_.runUnlogged(DatabaseFile::Library, fact_query::kMaster, {photo.masterUuid});
    if (!row.step()) return !row.failed();
    photo.isMovie = photo.isMovie || row.stringColumn(kType).string() == "VIDT";
    photo.isMissing = row.integerColumn(kMissing) != 0;
    photo.isInTrash = photo.isInTrash || row.integerColumn(kMasterTrash) != 0;
    photo.duration = std::max(realOf(row, kDuration).value_or(0), 0.0);
    addNames(row, photo);
    photo.isRaw = row.integerColumn(kTrulyRaw) != 0 || isRawName(photo.fileName);
    photo.mayBeTurned = kind_ == LibraryKind::IPhoto && !photo.isMovie;
    addOriginal(row, photo);
    alternate = row.stringColumn(kAlternate);
  }
  if (!alternate.string().empty()) addAlternate(alternate, photo);
  return true;
}

void PhotoFactsReader::Reading::addNames(const Query& row, PhotoFacts& photo) {
  const std::string ofVersion = photo.fileName, ofMaster = textOf(row, kMasterFileName);
  const std::string original = textOf(row, kOriginalName);
  const auto isName = [&](const std::string& fileName) {
    return !fileName.empty() && (photo.versionName == fileName || photo.versionName == stemOf(fileName));
  };
  if (!isName(ofVersion) && !isName(ofMaster) && !isName(original)) photo.title = photo.versionName;
  const std::string path = textOf(row, kImagePath);
  const std::string_view line = std::string_view(path).substr(0, path.find('\n'));
  for (const std::string_view name : {std::string_view(original), std::string_view(ofMaster),
                                      std::string_view(ofVersion), line.substr(line.rfind('/') + 1)}) {
    photo.fileName = name;
    if (!photo.fileName.empty()) break;
  }
}

void PhotoFactsReader::Reading::addOriginal(const Query& row, PhotoFacts& photo) {
  const std::string path = textOf(row, kImagePath);
  if (path.empty()) return;
  if (row.integerColumn(kReference) != 0) {
    photo.referenced = ReferencedFile{names_.volume(textOf(row, kVolume)), path.substr(0, path.find('\n'))};
    return;
  }
  photo.originalPaths = candidates(baseOf("Masters"), path, hasCandidates_);
  if (photo.originalPaths.size() <= 1) return;
  AlternateFile alternate;
  for (std::size_t i = 1; i < photo.originalPaths.size(); ++i)
    (isSmallPicture(photo.originalPaths[i]) ? photo.smallPaths : alternate.paths)
        .push_back(photo.originalPaths[i]);
  photo.originalPaths.resize(1);
  if (!alternate.paths.empty()) photo.alternate = std::move(alternate);
}

void PhotoFactsReader::Reading::addAlternate(const Value& masterUuid, PhotoFacts& photo) {
  Query row = databases_.runUnlogged(DatabaseFile::Library, fact_query::kMaster, {masterUuid});
  if (!row.step() || row.integerColumn(kReference) != 0) return;
  const std::string path = textOf(row, kImagePath);
  if (path.empty()) return;
  const std::string name = textOf(row, kMasterFileName);
  photo.alternate =
      AlternateFile{std::string(masterUuid.string()),
                    name.empty() ? path.substr(path.rfind('/') + 1) : name,
                    {appendingPathComponent(baseOf("Masters"), path.substr(0, path.find('\n')))}};
}

// In AlbumData.xml the picture of an unedited photo is its original.
bool PhotoFactsReader::Reading::readPreviews() {
  Query row = ofRange(DatabaseFile::ImageProxies, fact_query::kPreviews);
  while (row.step()) {
    PhotoFacts* photo = find(row.integer64Column(0));
    if (!photo || (kind_ != LibraryKind::IPhoto && !photo->isAdjusted)) continue;
    photo->editedPaths = candidates(baseOf("Previews"), textOf(row, 1), hasCandidates_);
    std::erase_if(photo->editedPaths, isSmallPicture);
    const auto current = realOf(row, 2);
    photo->editedIsUpToDate = !current || *current != 0;
  }
  return !row.failed();
}

bool PhotoFactsReader::Reading::readKeywords() {
  Query row = ofRange(DatabaseFile::Library, fact_query::kKeywords);
  while (row.step()) {
    PhotoFacts* photo = find(row.integer64Column(0));
    if (!photo || photo->keywords.size() >= kMostFactsOfAPhoto) continue;
    const std::int64_t id = row.integer64Column(1);
    const auto isSame = [id](const KeywordFact& keyword) { return keyword.id == id; };
    if (std::any_of(photo->keywords.begin(), photo->keywords.end(), isSame)) continue;
    KeywordFact keyword{id, names_.keywords().pathOf(id)};
    if (!keyword.path.empty()) photo->keywords.push_back(std::move(keyword));
  }
  for (PhotoFacts& photo : photos_) {
    std::sort(photo.keywords.begin(), photo.keywords.end(),
              [](const KeywordFact& a, const KeywordFact& b) { return a.path < b.path; });
  }
  return !row.failed();
}

bool PhotoFactsReader::Reading::readPlaces() {
  Query row = ofRange(DatabaseFile::Library, fact_query::kPlaces);
  while (row.step()) {
    if (PhotoFacts* photo = find(row.integer64Column(0)))
      names_.addPlace(row.integer64Column(1), photo->place);
  }
  return !row.failed();
}

bool PhotoFactsReader::Reading::readLivePhotos() {
  Query row = ofRange(DatabaseFile::Library, fact_query::kLivePhotos);
  while (row.step()) {
    PhotoFacts* photo = find(row.integer64Column(0));
    if (!photo) continue;
    photo->isLive = true;
    const std::string path = textOf(row, 1);
    if (!path.empty()) photo->livePath = appendingPathComponent(library_, path);
  }
  return !row.failed();
}

PhotoFactsReader::PhotoFactsReader(LibraryDatabases& databases, const LibraryLocation& location)
    : databases_(databases), location_(location), names_(std::make_unique<FactNames>(databases)) {}

PhotoFactsReader::~PhotoFactsReader() = default;

void PhotoFactsReader::dropCaches() { names_ = std::make_unique<FactNames>(databases_); }

bool PhotoFactsReader::read(std::int64_t first, std::int64_t last, const Take& take) {
  const std::string library = location_.libraryPath().value_or(std::string());
  bool complete = true;
  while (first <= last) {
    {
      // Ids may be far apart.
      Query next = databases_.runUnlogged(DatabaseFile::Library, fact_query::kNext, {first});
      if (!next.step()) return !next.failed() && complete;
      first = next.integer64Column(0);
    }
    if (first > last) break;
    const std::int64_t end = last - first < kWidestRange ? last : first + kWidestRange - 1;
    Reading reading(databases_, library, *names_, first, end);
    complete = reading.read() && complete;
    for (PhotoFacts& photo : reading.photos()) {
      if (!take(std::move(photo))) return complete;
    }
    if (end == last) break;
    first = end + 1;
  }
  return complete;
}

std::optional<PhotoFacts> PhotoFactsReader::photo(std::int64_t modelId) {
  std::optional<PhotoFacts> found;
  read(modelId, modelId, [&found](PhotoFacts photo) {
    found = std::move(photo);
    return false;
  });
  return found;
}

std::int64_t PhotoFactsReader::lastModelId() {
  Query row = databases_.runUnlogged(DatabaseFile::Library, kLast, {});
  return row.step() ? row.integer64Column(0) : 0;
}

}  // namespace moxtel
