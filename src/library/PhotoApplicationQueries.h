// What the container tree and the photo records ask of the running photo application. scripting/ answers;
// where no application can be asked, NoPhotoApplication does. Core thread; an answer may take as long as a
// script runs.
//
// The caller holds the library database open, and no query. Only the implementation knows whether an answer
// takes a script (most come from the album file or the database), so it calls
// LibraryDatabases::releaseLocks() itself, right before it runs one: the photo application must be able to
// write while it answers.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "value/Value.h"

namespace moxtel {

class PhotoApplicationQueries {
 public:
  virtual ~PhotoApplicationQueries() = default;
  // The version uuid of the container's key photo; nil when there is none.
  virtual Value keyPhotoOfProject(const Dictionary& container, bool byAppleScript) = 0;
  // With false from the library database, which the caller holds open.
  virtual Value keyPhotoOfAlbum(const Dictionary& container, bool byAppleScript) = 0;
  // kind: "album" or "folder". 0 when the count is unknown.
  virtual std::int32_t photoCountOf(std::string_view kind, const Value& uuid, std::int32_t modelId) = 0;
  // Version uuids in the application's order.
  virtual std::vector<Text> imageUuidsOf(std::string_view kind, const Value& uuid, std::int32_t modelId) = 0;
  // How many answers so far may be wrong: their script failed, timed out or was not tried after another one
  // timed out, or the album file could not be read. A list that had one of them must not be cached.
  virtual std::uint64_t doubtfulAnswers() const { return 0; }

 protected:
  PhotoApplicationQueries() = default;
  PhotoApplicationQueries(const PhotoApplicationQueries&) = default;
  PhotoApplicationQueries& operator=(const PhotoApplicationQueries&) = default;
};

// Answers as when no application can be asked.
class NoPhotoApplication : public PhotoApplicationQueries {
 public:
  Value keyPhotoOfProject(const Dictionary&, bool) override { return {}; }
  Value keyPhotoOfAlbum(const Dictionary&, bool) override { return {}; }
  std::int32_t photoCountOf(std::string_view, const Value&, std::int32_t) override { return 0; }
  std::vector<Text> imageUuidsOf(std::string_view, const Value&, std::int32_t) override { return {}; }
};

}  // namespace moxtel
