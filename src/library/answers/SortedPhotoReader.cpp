#include "library/answers/SortedPhotoReader.h"

#include "library/database/LibraryDatabases.h"

namespace moxtel {

namespace {

constexpr SqlText kProjectDates = "SELECT uuid,minImageDate FROM RKFolder WHERE folderType = 2";
constexpr SqlText kPlaces = "SELECT objectUuid,orderNumber FROM RKCustomSortOrder WHERE containerUuid = '%@'";

template <class Table>
void fill(Table& table, Query query) {
  while (query.step()) table.emplace(query.stringColumn(0).string(), query.realColumn(1));
}

template <class Table>
double numberOf(const Table& table, const Value& uuid) {
  const auto found = table.find(std::string(uuid.string()));
  return found == table.end() ? 0 : found->second;
}

}  // namespace

SortedPhotoReader::SortedPhotoReader(LibraryDatabases& databases, const PhotoOrder& order,
                                     const Value& container)
    : order_(order) {
  if (order.uses(PhotoOrder::Key::ProjectDate))
    fill(projectDates_, databases.runUnlogged(DatabaseFile::Library, kProjectDates, {}));
  if (order.uses(PhotoOrder::Key::Custom))
    fill(places_, databases.runUnlogged(DatabaseFile::Library, kPlaces, {container}));
}

SortedPhoto SortedPhotoReader::photoOf(const Query& row) const {
  SortedPhoto photo;
  const Value uuid = row.stringColumn(1);
  photo.modelId = row.integer64Column(0);
  photo.uuid = uuid.text();
  if (order_.uses(PhotoOrder::Key::Date)) photo.date = row.realColumn(2);
  if (order_.uses(PhotoOrder::Key::Rating)) photo.rating = row.integerColumn(3);
  if (order_.uses(PhotoOrder::Key::Name)) photo.name = row.stringColumn(4).string();
  if (order_.uses(PhotoOrder::Key::ProjectDate))
    photo.projectDate = numberOf(projectDates_, row.stringColumn(5));
  if (order_.uses(PhotoOrder::Key::Custom)) photo.place = numberOf(places_, uuid);
  return photo;
}

}  // namespace moxtel
