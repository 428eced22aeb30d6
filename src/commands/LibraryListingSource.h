// The library's own answers to the listing commands. Core thread; borrows everything.
#pragma once

#include "commands/ListingCommands.h"
#include "library/ContainerTree.h"
#include "library/Faces.h"
#include "library/LibraryChanges.h"
#include "library/LoadedLibrary.h"
#include "library/PhotoRecords.h"
#include "library/albumdata/AlbumData.h"

namespace moxtel {

class LibraryListingSource : public ListingSource {
 public:
  LibraryListingSource(const LoadedLibrary& library, LibraryChanges& changes, ContainerTree& containers,
                       PhotoRecords& photos, Faces& faces, const AlbumData& albumData)
      : library_(library),
        changes_(changes),
        containers_(containers),
        photos_(photos),
        faces_(faces),
        albumData_(albumData) {}

  void beginListing() override { changes_.checkBeforeListing(); }
  Value getTopLevelAlbums() override { return containers_.getTopLevelAlbums(); }
  Value getTopLevelProjects() override { return containers_.getTopLevelProjects(); }
  Value facesAlbums() override { return faces_.facesAlbums(); }
  Value photosInContainer(const Value& uuid) override { return photos_.photosInContainer(uuid); }
  Value containersInParentUuid(const Value& parentUuid) override {
    return containers_.containersInParentUuid(parentUuid);
  }
  Value photosForFaceID(const Value& faceUuid) override { return faces_.photosForFaceID(faceUuid); }
  bool usingDB() const override { return library_.usingDB(); }
  // Nothing determines the version of the installed application.
  std::int32_t iPhotoMajorVersion() const override { return 0; }
  Value albums() const override { return albumData_.albums(); }
  Value events() const override { return albumData_.events(); }

 private:
  const LoadedLibrary& library_;
  LibraryChanges& changes_;
  ContainerTree& containers_;
  PhotoRecords& photos_;
  Faces& faces_;
  const AlbumData& albumData_;
};

}  // namespace moxtel
