#include "library/FacePhotoCounts.h"

#include <algorithm>

#include "library/database/LibraryDatabases.h"
#include "library/database/SqlPlaces.h"
#include "value/Description.h"

namespace moxtel {

FacePhotoCounts::FacePhotoCounts(LibraryDatabases& databases)
    : complete_(readDetections(databases) && countVersions(databases)) {
  detections_ = {};
  masters_ = {};
}

// The join lists a detection once for each name with its key; two names with one uuid are one person.
bool FacePhotoCounts::readDetections(LibraryDatabases& databases) {
  Query query = databases.runUnlogged(DatabaseFile::Faces,
                                      "SELECT d.rowid,d.masterUuid,n.uuid FROM RKDetectedFace d CROSS JOIN "
                                      "RKFaceName n WHERE n.faceKey = d.faceKey",
                                      {});
  std::optional<std::int64_t> row;
  std::vector<std::uint32_t> personsOfRow;
  while (query.step()) {
    const auto uuid = query.storedText(2);
    const Value master = query.stringColumn(1);
    if (!uuid || master.isNil()) continue;
    if (row != query.integer64Column(0)) personsOfRow.clear();
    row = query.integer64Column(0);
    const auto next = static_cast<std::uint32_t>(persons_.size());
    const std::uint32_t person = persons_.try_emplace(std::string(*uuid), next).first->second;
    if (std::find(personsOfRow.begin(), personsOfRow.end(), person) != personsOfRow.end()) continue;
    personsOfRow.push_back(person);
    if (masters_.empty() || masters_.back() != master.string()) masters_.push_back(master.text());
    detections_.push_back({person, static_cast<std::uint32_t>(masters_.size() - 1)});
  }
  return !query.failed();
}

bool FacePhotoCounts::countVersions(LibraryDatabases& databases) {
  counts_.resize(persons_.size());
  std::optional<std::uint32_t> counted;
  std::int32_t count = 0;
  for (const auto& [person, master] : detections_) {
    if (counted != master) {
      Query query = databases.runUnlogged(
          DatabaseFile::Library,
          "SELECT COUNT(uuid) FROM RKVersion WHERE masterUuid = '%@' AND versionNumber = 1",
          {masters_[master]});
      if (!query.step()) return false;
      counted = master;
      count = query.integerColumn(0);
    }
    counts_[person] += count;
  }
  return true;
}

std::optional<std::int32_t> FacePhotoCounts::countFor(const Value& faceId) const {
  const std::string uuid = describe(faceId);
  if (!complete_ || breaksOutOfLiteral(uuid)) return std::nullopt;
  const auto person = persons_.find(uuid);
  return person == persons_.end() ? 0 : static_cast<std::int32_t>(counts_[person->second]);
}

}  // namespace moxtel
