// Plans the export of one library: which photos are wanted, where their files are, what is in the target
// already. On the library's thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "export/ExportContext.h"
#include "export/ExportFolders.h"
#include "export/PhotoSources.h"
#include "library/facts/PhotoFacts.h"

namespace moxtel {

class ImagePropertyReader;
class OpenLibrary;

// How many bytes and files there are to copy.
struct PlannedWork {
  std::uint64_t files = 0;
  std::uint64_t bytes = 0;
  std::uint64_t sidecars = 0;
};

class LibraryPlan final {
 public:
  // Borrows everything.
  LibraryPlan(ExportContext& context, const ExportedLibrary& exported, OpenLibrary& library,
              ImagePropertyReader& properties);

  // Notes albums, photos, files and findings. Names that --only gives and the library does not have stay in
  // `unknown`.
  void run(std::vector<std::string>& unknown);
  const PlannedWork& work() const { return work_; }
  const ExportFolders& folders() const { return folders_; }

 private:
  void readAlbums();
  void readMembers(std::size_t container);
  void select(std::vector<std::string>& unknown);
  bool selectByName(const std::string& name);
  // By --only.
  bool isNamed(const std::string& name, const std::string& uuid) const;
  bool readPhotos();
  void takePhoto(const PhotoFacts& photo);
  void planPhoto(const PhotoFacts& photo, PhotoSources sources);
  bool isWanted(const PhotoFacts& photo);
  void noteOther(const PhotoFacts& photo);
  void planFiles(const PhotoFacts& photo, PhotoSources& sources);
  bool planFile(const PhotoFacts& photo, const SourceFile& file, const StateFile& row);
  bool planSidecar(const std::optional<StateFile>& row, const std::string& hash);
  void report(Finding finding, const std::string& file, const std::string& reason = {});

  ExportContext& context_;
  const ExportedLibrary& exported_;
  OpenLibrary& library_;
  PhotoSourceFinder sources_;
  ExportFolders folders_;
  const std::optional<std::uint64_t> limit_;  // bytes of the largest file
  PlannedWork work_;
  std::vector<std::int64_t> again_;  // photos with a read error
};

// The names of the albums that a photo is in.
std::vector<std::vector<std::string>> albumsOf(ExportContext& context, const ExportFolders& folders,
                                               std::int64_t modelId);
// A hash of all that goes into the sidecar of one of the photo's files.
std::string hashOfFacts(const ExportContext& context, const PhotoFacts& photo,
                        const std::vector<std::vector<std::string>>& albums);
// Leaves only the files that are the photo's own: the first photo with an original has it. Its uuid.
std::string leaveSharedOriginal(ExportContext& context, const ExportedLibrary& exported,
                                const PhotoFacts& photo, PhotoSources& sources);

}  // namespace moxtel
