// Reads the facts of photos from a library of any kind, for an information panel and for exporting. One
// thread, the one of the databases.
//
// A range of model ids takes one statement for each table with rows by version, and look-ups along an index
// for originals and faces. Memory is bounded by the range. Tables and columns that a library lacks give
// photos without these facts, never a failure.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "library/facts/PhotoFacts.h"

namespace moxtel {

class FactNames;
class LibraryDatabases;
class LibraryLocation;

class PhotoFactsReader final {
 public:
  // Takes one photo; false ends the reading.
  using Take = std::function<bool(PhotoFacts)>;
  static constexpr std::int64_t kWidestRange = 1000;

  // Borrows both.
  PhotoFactsReader(LibraryDatabases& databases, const LibraryLocation& location);
  ~PhotoFactsReader();
  PhotoFactsReader(const PhotoFactsReader&) = delete;
  PhotoFactsReader& operator=(const PhotoFactsReader&) = delete;

  // The photos with model ids from first through last, ascending; wider ranges are read in parts of
  // kWidestRange ids. Hidden photos and those in the trash are included, with their flags; the hidden
  // originals that iPhoto keeps beside each version are not. False when a database could not be read: what
  // was taken may lack facts. The read transactions last until releaseLocks().
  bool read(std::int64_t first, std::int64_t last, const Take& take);
  // One photo; nothing when there is none with this id.
  std::optional<PhotoFacts> photo(std::int64_t modelId);
  // The greatest model id of a photo; 0 in an empty library.
  std::int64_t lastModelId();

  // Forgets names of keywords, persons, places and events: call when the library changed.
  void dropCaches();

 private:
  class Reading;
  LibraryDatabases& databases_;
  const LibraryLocation& location_;
  std::unique_ptr<FactNames> names_;
};

}  // namespace moxtel
