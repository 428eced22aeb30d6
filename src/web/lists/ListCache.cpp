#include "web/lists/ListCache.h"

#include <iterator>
#include <utility>

namespace moxtel {

std::shared_ptr<const ListedPhotos> ListCache::find(const std::string& key) {
  const std::lock_guard lock(mutex_);
  const auto found = byKey_.find(key);
  if (found == byKey_.end()) return nullptr;
  entries_.splice(entries_.begin(), entries_, found->second);
  return found->second->list;
}

void ListCache::keep(const std::string& key, std::shared_ptr<const ListedPhotos> list) {
  const std::lock_guard lock(mutex_);
  if (const auto found = byKey_.find(key); found != byKey_.end()) drop(found->second);
  bytes_ += list->memory();
  entries_.push_front({key, std::move(list)});
  byKey_[key] = entries_.begin();
  while (entries_.size() > 1 && (entries_.size() > kMostLists || bytes_ > kMostBytes))
    drop(std::prev(entries_.end()));
}

void ListCache::clear() {
  const std::lock_guard lock(mutex_);
  byKey_.clear();
  entries_.clear();
  bytes_ = 0;
}

std::size_t ListCache::size() const {
  const std::lock_guard lock(mutex_);
  return entries_.size();
}

void ListCache::drop(Entries::iterator entry) {
  bytes_ -= entry->list->memory();
  byKey_.erase(entry->key);
  entries_.erase(entry);
}

}  // namespace moxtel
