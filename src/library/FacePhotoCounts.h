// How many photos show each named person, counted for all persons at once.
//
// A query for each person would read a large library from end to end once per person, because a person's
// detections and versions are scattered over both databases. Here the detections are read in stored order,
// which is nearly that of their versions, and each version is looked up once for all the faces on it.
//
// The counts are those of Faces::photoCountForFaceID, which also logs: what cannot be read is neither logged
// nor counted here.
//
// Memory: about 60 bytes per detection of a named person, while counting. Core thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "value/Value.h"

namespace moxtel {

class LibraryDatabases;

class FacePhotoCounts final {
 public:
  // Reads Faces.db and then the library database. Borrows them during construction only.
  explicit FacePhotoCounts(LibraryDatabases& databases);

  // Nothing when this person, or anything that the counts are made of, could not be read.
  std::optional<std::int32_t> countFor(const Value& faceId) const;

 private:
  struct Detection {
    std::uint32_t person;  // index into counts_
    std::uint32_t master;  // index into masters_
  };
  bool readDetections(LibraryDatabases& databases);
  bool countVersions(LibraryDatabases& databases);

  std::vector<Detection> detections_;
  std::vector<Text> masters_;                               // once for all detections that follow one another
  std::unordered_map<std::string, std::uint32_t> persons_;  // by uuid: index into counts_
  std::vector<std::int64_t> counts_;
  bool complete_ = false;
};

}  // namespace moxtel
