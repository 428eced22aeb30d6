// The folders of a library's events, and the paths of its albums, in the target. One thread.
//
// A container keeps the path that it got first, whatever the library calls it later. Paths are relative to
// the target.
#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "export/ExportContext.h"
#include "library/answers/LibraryLists.h"
#include "library/facts/PhotoFacts.h"

namespace moxtel {

class ExportFolders final {
 public:
  // Borrows all but the containers.
  ExportFolders(ExportContext& context, const ExportedLibrary& library,
                const std::vector<LibraryContainer>& containers);

  // The folder in which the files of a photo belong, without a slash at the end.
  std::string folderOf(const PhotoFacts& photo) const;
  // Of an album, by its place: "Albums/Trips/Rome", without ".m3u8".
  const std::string& albumPath(std::size_t container) const { return paths_[container]; }
  // Of an event or a folder of events, "Events/2009/2009-07-04 Rome"; empty with the layout by dates.
  const std::string& eventPath(std::size_t container) const { return eventPaths_[container]; }
  // The names of an album's folders and its own.
  std::vector<std::string> albumNames(std::size_t container) const;
  bool isAlbum(std::size_t container) const;

 private:
  // Below `top`, remembered by the key.
  std::string pathOf(const std::string& key, const std::string& parent, std::string_view name, bool isList);
  void placeEvents();
  void placeAlbums();
  std::string parentOfEvent(const LibraryContainer& event) const;

  ExportContext& context_;
  const ExportedLibrary& library_;
  const std::vector<LibraryContainer>& containers_;
  std::vector<std::string> paths_;                       // of albums and the folders above them
  std::vector<std::string> eventPaths_;                  // below Events; of events and the folders above them
  std::unordered_map<std::string, std::size_t> events_;  // by uuid
};

}  // namespace moxtel
