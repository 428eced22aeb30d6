// Answers from the library's own files what a photo application would be asked: key photos, counts and
// members. Used where no application can be asked, and where its script fails. Core thread.
//
// They agree with the lists that a client sees: the members of a regular album are what RKAlbumVersion lists,
// in the trash or not; only an album for which it lists nothing has the members of SmartAlbums.h. So hidden
// photos of a regular album or an event are listed and counted always; with HideHidden they are no key photo,
// and folders are counted without them.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "library/PhotoApplicationQueries.h"
#include "value/Value.h"

namespace moxtel {

class LibraryDatabases;
class PhotoOrder;
class SmartAlbums;

class LibraryAnswers final : public PhotoApplicationQueries {
 public:
  // Borrows both.
  LibraryAnswers(LibraryDatabases& databases, SmartAlbums& smartAlbums)
      : databases_(databases), smartAlbums_(smartAlbums) {}

  // The container's poster photo where the library names one that can be shown, else the first one in the
  // order of the photo application.
  Value keyPhotoOfProject(const Dictionary& container, bool byAppleScript) override;
  Value keyPhotoOfAlbum(const Dictionary& container, bool byAppleScript) override;
  // "folder": the photos of its albums and projects and of all folders below, each once.
  std::int32_t photoCountOf(std::string_view kind, const Value& uuid, std::int32_t modelId) override;
  // Only of smart albums: the members of other albums are in the database.
  std::vector<Text> imageUuidsOf(std::string_view kind, const Value& uuid, std::int32_t modelId) override;
  std::uint64_t doubtfulAnswers() const override;

 private:
  // 1 if hidden photos are left out, else 0, for a query.
  int hides() const;
  // The version's uuid if it is shown in the library and not in the trash.
  Value posterIfLive(const Value& uuid);
  PhotoOrder orderOfProject(const Value& album);

  LibraryDatabases& databases_;
  SmartAlbums& smartAlbums_;
};

}  // namespace moxtel
