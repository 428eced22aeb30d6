#include "makelibrary/PhotosPlan.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>

#include "support/SampleLibrary.h"

namespace moxtel::makelibrary {

namespace {

// FNV-1a, 64 bit.
std::uint64_t hashOf(std::string_view text, std::uint64_t start) {
  std::uint64_t hash = start;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3ULL;
  return hash;
}

bool isListed(const Photo& photo) {
  const PhotosState state = photosState(photo);
  return !photo.inTrash && !state.shared && !state.burst;
}

class Albums final {
 public:
  explicit Albums(const SamplePlan& plan) : plan_(plan) {}

  std::vector<PhotosAlbum> all() {
    const std::int64_t root = add(PhotosAlbumKind::Root, "TopLevelAlbums", "", 0);
    std::map<std::string, std::int64_t> folders{{"TopLevelAlbums", root}};
    for (const Container& folder : plan_.folders())
      if (folder.type == 1 && folders.contains(folder.parentUuid)) {
        const std::int64_t parent = folders[folder.parentUuid];
        folders[folder.uuid] = add(PhotosAlbumKind::Folder, folder.uuid, folder.name, parent);
        albums_.back().inTrash = folder.inTrash;
      }
    for (const Container& album : plan_.albums()) {
      if (album.magic || album.subclass == 1) continue;
      const auto kind = album.subclass == 2 ? PhotosAlbumKind::Smart : PhotosAlbumKind::Album;
      add(kind, album.uuid, album.name, folders[album.parentUuid]);
      albums_.back().inTrash = album.inTrash;
      for (const std::size_t index : plan_.membersOf(album))
        if (isListed(plan_.photo(index))) albums_.back().members.push_back(index);
      // The user put the newest first.
      std::reverse(albums_.back().members.begin(), albums_.back().members.end());
    }
    addSpecial(root);
    return std::move(albums_);
  }

 private:
  std::int64_t add(PhotosAlbumKind kind, const std::string& uuid, const std::string& title,
                   std::int64_t parent) {
    PhotosAlbum album;
    album.id = static_cast<std::int64_t>(albums_.size() + 1);
    album.kind = kind;
    album.uuid = longUuid(uuid);
    album.title = title;
    album.parent = parent;
    albums_.push_back(std::move(album));
    return albums_.back().id;
  }
  void fill(const std::function<bool(const Photo&)>& belongs) {
    for (std::size_t i = 0; i < plan_.photoCount(); ++i)
      if (belongs(plan_.photo(i))) albums_.back().members.push_back(i);
  }
  void addSpecial(std::int64_t root) {
    add(PhotosAlbumKind::Shared, "shared", "Shared with the family", 0);
    fill([](const Photo& photo) { return photosState(photo).shared && !photo.inTrash; });
    add(PhotosAlbumKind::Import, "import", "Import of a day", 0);
    fill([](const Photo& photo) { return isListed(photo); });
    add(PhotosAlbumKind::Project, "project", "A book", root);
    // Events of an older library that was taken over.
    const std::int64_t events = add(PhotosAlbumKind::Folder, "events", "iPhoto Events", root);
    for (const std::size_t remainder : {std::size_t{0}, std::size_t{1}}) {
      add(PhotosAlbumKind::Album, "event" + std::to_string(remainder),
          remainder == 0 ? "Confirmation" : "Harvest", events);
      fill([&](const Photo& photo) { return isListed(photo) && photo.index % 11 == remainder; });
    }
  }

  const SamplePlan& plan_;
  std::vector<PhotosAlbum> albums_;
};

// "0a/00": where a file with this number is.
std::string numberedFolder(std::int64_t id) {
  char text[40];
  std::snprintf(text, sizeof text, "%02x/%02x", static_cast<unsigned>(id >> 8 & 255),
                static_cast<unsigned>(id >> 16));
  return text;
}

std::string hexadecimal(std::int64_t id) {
  char text[24];
  std::snprintf(text, sizeof text, "%llx", static_cast<unsigned long long>(id));
  return text;
}

PhotoPaths pathsOfPhotos4(const Photo& photo) {
  PhotoPaths paths;
  paths.original = "Masters/" + photo.folder + "/" + photo.fileName;
  if (photosState(photo).rawPair) paths.rawOriginal = "Masters/" + photo.folder + "/" + rawOfPair(photo);
  if (photo.kind == MasterKind::Raw)
    paths.developed = "resources/media/master/" + numberedFolder(developedId(photo)) + "/fullsizeoutput_" +
                      hexadecimal(developedId(photo)) + ".jpeg";
  if (photo.adjusted)
    paths.rendered = "resources/media/version/" + numberedFolder(renderedId(photo)) + "/fullsizeoutput_" +
                     hexadecimal(renderedId(photo)) + ".jpeg";
  const std::string id = hexadecimal(photo.versionId);
  const std::string derivative = "resources/proxies/derivatives/" + numberedFolder(photo.versionId) + "/" +
                                 id + "/" + adjustmentUuid(photo);
  paths.thumbnail = derivative + "_thumb_" + id + ".jpg";
  paths.mini = derivative + "_mini_" + id + ".jpg";
  for (std::size_t f = 0; f < photo.faces.size(); ++f) {
    const std::int64_t tile = faceTileId(photo, f);
    paths.faceTiles.push_back("resources/media/face/" + numberedFolder(tile) + "/facetile_" +
                              hexadecimal(tile) + ".jpeg");
  }
  return paths;
}

PhotoPaths pathsOfPhotos5(const Photo& photo) {
  const PhotosState state = photosState(photo);
  const std::string uuid = longUuid(photo.versionUuid);
  const std::string below = uuid.substr(0, 1) + "/" + uuid;
  PhotoPaths paths;
  paths.original = "originals/" + below + std::string(photosExtension(photo.kind));
  if (photo.adjusted) paths.rendered = "resources/renders/" + below + "_1_201_a.jpeg";
  if (state.live) paths.liveMovie = "originals/" + below + "_3.mov";
  if (state.rawPair) paths.rawOriginal = "originals/" + below + "_4.dng";
  // The application does not keep one for each photo.
  if (photo.index % 2 == 0) paths.thumbnail = "resources/derivatives/" + below + "_1_105_c.jpeg";
  paths.mini = "resources/derivatives/masters/" + below + "_4_5005_c.jpeg";
  return paths;
}

}  // namespace

PhotosState photosState(const Photo& photo) {
  PhotosState state;
  const auto every = [&](std::size_t number, std::size_t remainder) {
    return photo.index % number == remainder;
  };
  state.hidden = every(29, 7);
  state.shared = !state.hidden && every(31, 5);
  state.burst = !state.hidden && !state.shared && every(41, 9);
  state.cloudOnly = every(37, 3);
  state.live = photo.kind == MasterKind::Jpeg && every(23, 4);
  // Of every other pair only the RAW is on this disk.
  state.rawPair = photo.kind == MasterKind::Jpeg && (every(43, 6) || every(74, 40));
  return state;
}

std::string longUuid(std::string_view uuid) {
  const std::uint64_t high = hashOf(uuid, 0xCBF29CE484222325ULL), low = hashOf(uuid, high);
  char text[40];
  std::snprintf(text, sizeof text, "%08X-%04X-%04X-%04X-%012llX", static_cast<unsigned>(high >> 32),
                static_cast<unsigned>(high >> 16 & 0xFFFF), static_cast<unsigned>(high & 0xFFFF),
                static_cast<unsigned>(low >> 48), static_cast<unsigned long long>(low & 0xFFFFFFFFFFFFULL));
  return text;
}

std::vector<PhotosAlbum> photosAlbums(const SamplePlan& plan) { return Albums(plan).all(); }

std::string_view photosExtension(MasterKind kind) {
  switch (kind) {
    case MasterKind::Raw:
      return ".dng";
    case MasterKind::Tiff:
      return ".tiff";
    case MasterKind::Movie:
      return ".mov";
    case MasterKind::Jpeg:
      break;
  }
  return ".jpeg";
}

PhotoPaths photosPaths(LibraryKind kind, const Photo& photo) {
  PhotoPaths paths = kind == LibraryKind::Photos4 ? pathsOfPhotos4(photo) : pathsOfPhotos5(photo);
  if (photosState(photo).cloudOnly) paths.original.clear();
  return paths;
}

std::string rawOfPair(const Photo& photo) { return photo.baseName + ".DNG"; }

std::string adjustmentUuid(const Photo& photo) {
  return photo.adjusted ? "A" + photo.versionUuid.substr(1) : "UNADJUSTEDNONRAW";
}

}  // namespace moxtel::makelibrary
