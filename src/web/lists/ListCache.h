// The lists that were asked for last, by their address and filters. Any thread.
#pragma once

#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "web/lists/ListedPhotos.h"

namespace moxtel {

class ListCache final {
 public:
  static constexpr std::size_t kMostLists = 100;
  static constexpr std::size_t kMostBytes = 32 << 20;

  // Null when the list is not kept.
  std::shared_ptr<const ListedPhotos> find(const std::string& key);
  // Replaces the one with the same key. Of too many, the ones that were not asked for longest are dropped,
  // but never the newest.
  void keep(const std::string& key, std::shared_ptr<const ListedPhotos> list);
  void clear();
  std::size_t size() const;

 private:
  struct Entry {
    std::string key;
    std::shared_ptr<const ListedPhotos> list;
  };
  using Entries = std::list<Entry>;
  void drop(Entries::iterator entry);

  mutable std::mutex mutex_;
  Entries entries_;  // the last one asked for first
  std::unordered_map<std::string, Entries::iterator> byKey_;
  std::size_t bytes_ = 0;
};

}  // namespace moxtel
