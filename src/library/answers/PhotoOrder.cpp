#include "library/answers/PhotoOrder.h"

#include <algorithm>
#include <optional>

namespace moxtel {

namespace {

std::optional<PhotoOrder::Key> keyNamed(std::string_view name) {
  if (name == "exifProperties.ImageDate") return PhotoOrder::Key::Date;
  if (name == "basicProperties.projectDate") return PhotoOrder::Key::ProjectDate;
  if (name == "basicProperties.VersionName") return PhotoOrder::Key::Name;
  if (name == "basicProperties.MainRating") return PhotoOrder::Key::Rating;
  if (name.starts_with("custom")) return PhotoOrder::Key::Custom;
  return std::nullopt;
}

// SQLite stores no NaN, so this is a strict weak order of real numbers, too.
template <class T>
int compare(const T& a, const T& b) {
  return a < b ? -1 : b < a ? 1 : 0;
}

int compareBy(PhotoOrder::Key key, const SortedPhoto& a, const SortedPhoto& b) {
  switch (key) {
    case PhotoOrder::Key::Date:
      return compare(a.date, b.date);
    case PhotoOrder::Key::ProjectDate:
      return compare(a.projectDate, b.projectDate);
    case PhotoOrder::Key::Name:
      return a.name.compare(b.name);
    case PhotoOrder::Key::Rating:
      return compare(a.rating, b.rating);
    case PhotoOrder::Key::Custom:
      return compare(a.place, b.place);
  }
  return 0;
}

}  // namespace

PhotoOrder::PhotoOrder(std::string_view sortKeyPath, bool ascending) : ascending_(ascending) {
  while (!sortKeyPath.empty()) {
    const std::size_t end = std::min(sortKeyPath.find('&'), sortKeyPath.size());
    const auto key = keyNamed(sortKeyPath.substr(0, end));
    if (key && !uses(*key)) keys_.push_back(*key);
    sortKeyPath.remove_prefix(std::min(end + 1, sortKeyPath.size()));
  }
}

bool PhotoOrder::uses(Key key) const { return std::find(keys_.begin(), keys_.end(), key) != keys_.end(); }

bool PhotoOrder::isByDateInProject() const {
  const auto first =
      std::find_if(keys_.begin(), keys_.end(), [](Key key) { return key != Key::ProjectDate; });
  return first == keys_.end() || (ascending_ && *first == Key::Date);
}

bool PhotoOrder::precedes(const SortedPhoto& a, const SortedPhoto& b) const {
  for (const Key key : keys_) {
    const int order = compareBy(key, a, b);
    if (order != 0) return ascending_ == (order < 0);
  }
  return a.modelId < b.modelId;
}

void PhotoOrder::sort(std::vector<SortedPhoto>& photos) const {
  std::sort(photos.begin(), photos.end(),
            [this](const SortedPhoto& a, const SortedPhoto& b) { return precedes(a, b); });
}

}  // namespace moxtel
