#include "library/facts/PhotoColumns.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "library/FolderPhotos.h"
#include "library/database/LibraryDatabases.h"
#include "library/facts/FactColumns.h"
#include "library/facts/PictureShape.h"
#include "library/facts/RawNames.h"
#include "library/facts/ZoneRules.h"

namespace moxtel {

namespace {

// The whole table in the order of its rows; the plus signs keep SQLite, which has no statistics here, from
// reading it along an index.
constexpr SqlText kPhotos =
    "SELECT modelId,masterId,imageDate,imageTimeZoneName,rotation,masterWidth,masterHeight,processedWidth,"
    "processedHeight,hasEnabledAdjustments,isFlagged,isHidden,mainRating,colorLabelIndex,"
    "videoPosterFramePoint,fileName,projectUuid,versionNumber FROM RKVersion WHERE +showInLibrary = 1 AND "
    "+isInTrash = 0 AND +versionNumber IS NOT 0 ORDER BY modelId";
enum Column {
  kModelId,
  kMasterId,
  kDate,
  kZone,
  kRotation,
  kWidth,
  kHeight,
  kProcessedWidth,
  kProcessedHeight,
  kAdjusted,
  kFlagged,
  kHidden,
  kRating,
  kLabel,
  kPoster,
  kFileName,
  kProject,
  kVersionNumber
};
// These are rare, and found along an index.
constexpr SqlText kMastersInTrash = "SELECT modelId FROM RKMaster WHERE isInTrash = 1";
constexpr SqlText kReferencedMasters = "SELECT modelId FROM RKMaster WHERE fileIsReference = 1";
constexpr SqlText kMovies = "SELECT modelId FROM RKMaster WHERE type = 'VIDT'";
constexpr SqlText kLiveMasters = "SELECT modelId FROM MoxtelLivePhotos";
constexpr SqlText kEvents = "SELECT uuid,modelId FROM RKFolder WHERE folderType = 2";

struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
};
template <class T>
using TextMap = std::unordered_map<std::string, T, TextHash, std::equal_to<>>;

std::vector<std::int64_t> idsOf(Query query) {
  std::vector<std::int64_t> ids;
  while (query.step()) ids.push_back(query.integer64Column(0));
  std::sort(ids.begin(), ids.end());
  return ids;
}

bool contains(const std::vector<std::int64_t>& ids, std::int64_t id) {
  return !ids.empty() && std::binary_search(ids.begin(), ids.end(), id);
}

class Scan final {
 public:
  explicit Scan(LibraryDatabases& databases) : databases_(databases), kind_(databases.layout().kind) {}

  std::optional<PhotoColumns> read() {
    readRareOnes();
    readEvents();
    Query row = databases_.runUnlogged(DatabaseFile::Library, kPhotos, {});
    if (!row.prepared()) return std::nullopt;
    while (row.step()) take(row);
    if (row.failed()) return std::nullopt;
    return std::move(columns_);
  }

 private:
  void readRareOnes() {
    const auto ids = [this](SqlText sql) {
      return idsOf(databases_.runUnlogged(DatabaseFile::Library, sql, {}));
    };
    mastersInTrash_ = ids(kMastersInTrash);
    referenced_ = ids(kReferencedMasters);
    if (kind_ == LibraryKind::IPhoto) movies_ = ids(kMovies);
    if (kind_ == LibraryKind::Photos5) live_ = ids(kLiveMasters);
  }

  void readEvents() {
    const auto trashed = foldersInTrash(databases_);
    Query row = databases_.runUnlogged(DatabaseFile::Library, kEvents, {});
    while (row.step()) {
      const auto uuid = row.storedText(0);
      if (!uuid) continue;
      const bool inTrash = trashed.contains(std::string(*uuid));
      const auto [found, isNew] =
          events_.try_emplace(std::string(*uuid), inTrash ? kTrashed : columns_.events.size());
      if (isNew && !inTrash) columns_.events.push_back(row.integer64Column(1));
    }
    for (const std::string& uuid : trashed) events_.try_emplace(uuid, kTrashed);
  }

  // Photos of one event mostly follow one another.
  std::size_t eventOf(const Query& row) {
    const auto uuid = row.storedText(kProject);
    if (!uuid) return kNone;
    if (*uuid == lastUuid_) return lastEvent_;
    const auto found = events_.find(*uuid);
    lastUuid_ = *uuid;
    lastEvent_ = found == events_.end() ? kNone : found->second;
    return lastEvent_;
  }

  std::uint16_t flagsOf(const Query& row, std::int64_t master, const PictureShape& shape, bool isAdjusted) {
    std::uint16_t flags = 0;
    const auto set = [&flags](bool condition, std::uint16_t flag) {
      if (condition) flags = static_cast<std::uint16_t>(flags | flag);
    };
    const auto poster = row.storedText(kPoster);
    const auto fileName = row.storedText(kFileName);
    set((poster && !poster->empty()) || contains(movies_, master), PhotoColumns::kMovie);
    set(row.integerColumn(kFlagged) != 0, PhotoColumns::kFlagged);
    set(fileName && isRawName(*fileName), PhotoColumns::kRaw);
    set(isAdjusted, PhotoColumns::kEdited);
    set(contains(live_, master), PhotoColumns::kLive);
    set(contains(referenced_, master), PhotoColumns::kReferenced);
    set(row.integerColumn(kHidden) != 0, PhotoColumns::kHidden);
    set(true, static_cast<std::uint16_t>((shape.rotation / 90) << PhotoColumns::kRotationShift));
    return flags;
  }

  std::int64_t dateOf(const Query& row) {
    const auto moment = realOf(row, kDate);
    if (!moment) return PhotoColumns::kNoDate;
    return zones_.wallClock(row.storedText(kZone).value_or(""), *moment + kReferenceDateAfterUnixEpoch)
        .value_or(PhotoColumns::kNoDate);
  }

  void take(const Query& row) {
    const std::int64_t master = row.integer64Column(kMasterId);
    if (contains(mastersInTrash_, master)) return;
    const bool isOnlyInAlbums = isNull(row, kVersionNumber);
    const std::size_t event = isOnlyInAlbums ? kNone : eventOf(row);
    if (event == kTrashed) return;
    const bool isAdjusted = row.integerColumn(kAdjusted) != 0;
    const PictureShape shape = shapeOf(
        {row.integer64Column(kWidth), row.integer64Column(kHeight), row.integer64Column(kProcessedWidth),
         row.integer64Column(kProcessedHeight), row.integer64Column(kRotation), isAdjusted},
        kind_);
    columns_.modelId.push_back(row.integer64Column(kModelId));
    columns_.masterId.push_back(master);
    columns_.date.push_back(dateOf(row));
    columns_.width.push_back(static_cast<std::uint32_t>(shape.width));
    columns_.height.push_back(static_cast<std::uint32_t>(shape.height));
    columns_.event.push_back(event == kNone ? PhotoColumns::kNoEvent : static_cast<std::uint32_t>(event));
    std::uint16_t flags = flagsOf(row, master, shape, isAdjusted);
    if (isOnlyInAlbums) flags |= PhotoColumns::kOnlyInAlbums;
    columns_.flags.push_back(flags);
    columns_.rating.push_back(static_cast<std::int8_t>(ratingOf(row, kRating)));
    columns_.colorLabel.push_back(static_cast<std::int8_t>(colorLabelOf(row, kLabel)));
  }

  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  static constexpr std::size_t kTrashed = static_cast<std::size_t>(-2);
  LibraryDatabases& databases_;
  const LibraryKind kind_;
  PhotoColumns columns_;
  ZoneRules zones_;
  std::vector<std::int64_t> mastersInTrash_, referenced_, movies_, live_;
  TextMap<std::size_t> events_;
  std::string lastUuid_;
  std::size_t lastEvent_ = kNone;
};

}  // namespace

std::optional<std::size_t> PhotoColumns::find(std::int64_t id) const {
  const auto found = std::lower_bound(modelId.begin(), modelId.end(), id);
  if (found == modelId.end() || *found != id) return std::nullopt;
  return static_cast<std::size_t>(found - modelId.begin());
}

std::optional<PhotoColumns> readPhotoColumns(LibraryDatabases& databases) { return Scan(databases).read(); }

}  // namespace moxtel
