// What many photos of a library share: names of keywords, persons, events, places and disks. Each is read
// once, when it is needed. On the thread of the databases.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include "library/facts/KeywordTree.h"
#include "library/facts/PhotoFacts.h"
#include "library/facts/ZoneRules.h"
#include "value/Value.h"

namespace moxtel {

class LibraryDatabases;

class FactNames final {
 public:
  struct Person {
    std::int64_t modelId = 0;
    std::string name;
  };
  struct Event {
    std::int64_t modelId = 0;
    std::string name;
    bool isInTrash = false;
  };

  // Borrows it.
  explicit FactNames(LibraryDatabases& databases);

  const KeywordTree& keywords();
  // Null for a face without a name.
  const Person* person(std::int64_t faceKey);
  const Event* event(std::string_view uuid);
  // Empty for an unknown disk.
  std::string volume(std::string_view uuid);
  // Puts a place into the level that it has.
  void addPlace(std::int64_t placeId, PlaceFacts& facts);
  ZoneRules& zones() { return zones_; }

 private:
  struct Place {
    std::int32_t type = 0;
    std::string name;
  };
  LibraryDatabases& databases_;
  std::optional<KeywordTree> keywords_;
  std::optional<std::unordered_map<std::int64_t, Person>> persons_;
  std::optional<std::unordered_map<std::string, Event>> events_;
  std::optional<std::unordered_map<std::string, std::string>> volumes_;
  std::unordered_map<std::int64_t, Place> places_;
  ZoneRules zones_;
};

}  // namespace moxtel
