#include "library/FacePhotoCounts.h"

#include <algorithm>

#include "library/LibraryDatabases.h"
#include "library/SqlPlaces.h"
#include "value/Description.h"

namespace moxtel {

FacePhotoCounts::FacePhotoCounts(LibraryDatabases& databases)
    : complete_(readDetections(databases) && countVersions(databases)) {
  detections_ = {};
}

// A detection comes once for each row of a name with its key; two rows of one uuid are one person.
bool FacePhotoCounts::readDetections(LibraryDatabases& databases) {
  Query query = databases.runUnlogged(DatabaseFile::Faces,
                                      "SELECT d.rowid,d.masterUuid,n.uuid FROM RKDetectedFace d CROSS JOIN "
                                      "RKFaceName n WHERE n.faceKey = d.faceKey",
                                      {});
  std::optional<std::int64_t> row;
  Text master;
  std::vector<std::size_t> personsOfRow;
  while (query.step()) {
    if (row != query.integer64Column(0)) {
      row = query.integer64Column(0);
      personsOfRow.clear();
      // Most detections on one master follow one another: they share its text.
      const Value named = query.stringColumn(1);
      if (master != named.string()) master = named.text();
    }
    const auto uuid = query.storedText(2);
    if (!uuid || master.empty()) continue;
    const std::size_t person = persons_.try_emplace(std::string(*uuid), persons_.size()).first->second;
    if (std::find(personsOfRow.begin(), personsOfRow.end(), person) != personsOfRow.end()) continue;
    personsOfRow.push_back(person);
    detections_.push_back({person, master});
  }
  return !query.failed();
}

bool FacePhotoCounts::countVersions(LibraryDatabases& databases) {
  counts_.resize(persons_.size());
  const void* counted = nullptr;
  std::int64_t count = 0;
  for (const auto& [person, master] : detections_) {
    if (master.identity() != counted) {
      Query query = databases.runUnlogged(
          DatabaseFile::Library,
          "SELECT COUNT(uuid) FROM RKVersion WHERE masterUuid = '%@' AND versionNumber = 1", {master});
      if (!query.step()) return false;
      counted = master.identity();
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
