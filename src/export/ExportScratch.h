// What a run notes about the photos while it plans, in a temporary file: a million photos take no memory. One
// thread; throws StateFailure.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "export/StateSql.h"

namespace moxtel {

// A photo whose files have no names yet.
struct PendingPhoto {
  std::int64_t library = 0;
  std::int64_t modelId = 0;
  std::string uuid;
  std::string folder;  // in the target
  double date = 0;     // seconds; the order of equal names
  std::string stem;    // legal
  std::string name;    // the original's in the library
  std::string files;   // a line each: role, extension, size
};

class ExportScratch final {
 public:
  ExportScratch();

  // Members, selected photos and known files are those of this library from now on.
  void useLibrary(std::int64_t library) { current_ = library; }

  // Members of albums, by the album's place among the containers.
  void addMember(std::int64_t album, std::int64_t position, std::int64_t modelId);
  std::vector<std::int64_t> albumsOf(std::int64_t modelId);
  void forEachMember(std::int64_t album, const std::function<void(std::int64_t modelId)>& take);

  // The photos that --only names.
  void select(std::int64_t modelId);
  bool isSelected(std::int64_t modelId);

  // Photos, whether they are exported, and where the original of each is: of itself, or of the photo that it
  // shares it with.
  void addPhoto(std::int64_t library, std::int64_t modelId, std::string_view uuid,
                std::string_view originalUuid, bool isWanted = true);
  struct Photo {
    std::string uuid;
    std::string originalUuid;
    bool isWanted = true;
  };
  std::optional<Photo> photo(std::int64_t library, std::int64_t modelId);
  // The first photo with this original, which is this one if there was none. Without a uuid: empty if there
  // was none.
  std::string ownerOf(std::int64_t library, std::string_view master, std::string_view uuid);

  void addPending(const PendingPhoto& photo);
  // By folder, date and uuid.
  void forEachPending(const std::function<void(const PendingPhoto&)>& take);
  void clearPending();

  // roles: a bit for each FileRole of which a file must be copied; 0 for a photo that lacks a sidecar only.
  void addTodo(std::int64_t library, std::int64_t modelId, std::int64_t roles);
  // The next one from this id on.
  std::optional<std::int64_t> nextTodo(std::int64_t library, std::int64_t from);
  // Its roles; nothing if there is nothing to do.
  std::optional<std::int64_t> todo(std::int64_t library, std::int64_t modelId);
  // The photos whose files could not be read become the ones to do; false if there are none. Roles of several
  // calls add up.
  void addRetry(std::int64_t library, std::int64_t modelId, std::int64_t roles);
  bool takeRetries();

  // Files of the library that photos have, by their paths without case and normal form.
  void addKnown(std::string_view path);
  bool isKnown(std::string_view path);

  // To compare libraries: a photo's name, size and date.
  void addTwin(std::int64_t library, std::string_view name, std::uint64_t size, double date);
  // How many photos of one library are in the other, too.
  std::int64_t commonPhotos(std::int64_t a, std::int64_t b);
  std::int64_t photosOf(std::int64_t library);

 private:
  StateSql sql_;
  std::int64_t current_ = 0;
  struct Tables {
    explicit Tables(StateSql& sql);
  };
  const Tables tables_;
  Statement addMember_, albumsOf_, select_, isSelected_, addPhoto_, photo_, addOwner_, owner_, addPending_,
      addTodo_, nextTodo_, todo_, addRetry_, addKnown_, isKnown_, addTwin_;
};

}  // namespace moxtel
