// What a sample library of the later application adds to the plan of a library: the states of single photos,
// albums of its own kinds, and the names of its files.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "makelibrary/SamplePlan.h"

namespace moxtel::makelibrary {

// A photo's states beside those of Photo. At most one of hidden, shared, burst is set.
struct PhotosState {
  bool hidden = false;
  bool shared = false;     // in the shared album only
  bool burst = false;      // a frame of a burst that is not shown
  bool cloudOnly = false;  // the original is not on this disk
  bool live = false;       // a movie beside the picture
  bool rawPair = false;    // a RAW file beside the picture
};
PhotosState photosState(const Photo& photo);

// 8-4-4-4-12 hexadecimal digits, made from a uuid of the plan.
std::string longUuid(std::string_view uuid);

// The kinds of albums, as numbered by the application.
enum class PhotosAlbumKind : std::uint16_t {
  Album = 2,
  Shared = 1505,
  Import = 1506,
  Smart = 1507,
  Project = 1508,
  Root = 3999,
  Folder = 4000
};

struct PhotosAlbum {
  std::int64_t id = 0;
  PhotosAlbumKind kind = PhotosAlbumKind::Album;
  std::string uuid;
  std::string title;
  std::int64_t parent = 0;  // id; 0 for none
  bool inTrash = false;
  std::vector<std::size_t> members;  // indexes of photos, in the user's order
};
// Each folder before its contents.
std::vector<PhotosAlbum> photosAlbums(const SamplePlan& plan);

// ".jpeg": as Photos 5 and later name originals.
std::string_view photosExtension(MasterKind kind);

// Where a photo's files are, below the library's folder; empty for those that it does not have.
struct PhotoPaths {
  std::string original;
  std::string rendered;   // the adjusted picture
  std::string developed;  // the picture made from a RAW original
  std::string liveMovie;
  std::string rawOriginal;
  std::string thumbnail;  // 1,024 pixels
  std::string mini;       // 360 pixels
  std::vector<std::string> faceTiles;
};
PhotoPaths photosPaths(LibraryKind kind, const Photo& photo);

// In photos.db: the ids of what is kept for a version in files of its own.
inline std::int64_t renderedId(const Photo& photo) { return photo.versionId * 64 + 1; }
inline std::int64_t faceTileId(const Photo& photo, std::size_t face) {
  return photo.versionId * 64 + 2 + static_cast<std::int64_t>(face);
}
inline std::int64_t developedId(const Photo& photo) { return photo.versionId * 64 + 63; }
// In photos.db: the name of the RAW that was taken together with a JPEG.
std::string rawOfPair(const Photo& photo);
// In photos.db: the uuid of a version's adjustments.
std::string adjustmentUuid(const Photo& photo);

}  // namespace moxtel::makelibrary
