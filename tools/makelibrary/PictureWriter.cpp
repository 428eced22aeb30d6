#include "makelibrary/PictureWriter.h"

#include <algorithm>
#include <atomic>
#include <future>
#include <thread>
#include <vector>

#include "makelibrary/Everything.h"
#include "makelibrary/ImageFormats.h"
#include "makelibrary/Landscape.h"
#include "makelibrary/LibraryFolder.h"
#include "makelibrary/PhotosPlan.h"
#include "makelibrary/SamplePlan.h"

namespace moxtel::makelibrary {

namespace {

constexpr int kThumbnailSide = 1024;
constexpr int kMiniSide = 360;
constexpr int kTileSide = 160;
constexpr int kMovieFrames = 16;
constexpr int kFramesPerSecond = 8;

// A visible edit: warmer, with more contrast.
Picture enhanced(Picture picture) {
  const auto curve = [](int value, int shift) {
    const int v = 128 + (value - 128) * 6 / 5 + shift;
    return static_cast<std::uint8_t>(std::clamp(v, 0, 255));
  };
  for (Pixel& p : picture.pixels) p = {curve(p.red, 10), curve(p.green, 3), curve(p.blue, -8)};
  return picture;
}

class PhotoFiles final {
 public:
  PhotoFiles(const SamplePlan& plan, const LibraryFolder& folder, Photo photo)
      : plan_(plan), folder_(folder), photo_(std::move(photo)) {
    kind_.seed = plan.options().seed * 1'000'003 + photo_.index;
    kind_.season = plan.seasonOf(photo_);
    const CivilDate date = civilDate(photo_.date);
    kind_.hour = date.hour + date.minute / 60.0;
    const bool turned = !photo_.upright();
    upright_ = landscape(kind_, turned ? photo_.height : photo_.width, turned ? photo_.width : photo_.height);
  }

  void write() {
    const LibraryKind kind = plan_.options().kind;
    if (kind == LibraryKind::IPhoto || kind == LibraryKind::AlbumDataOnly)
      writeForIPhoto();
    else
      writeForPhotos(photosPaths(kind, photo_));
  }

 private:
  void writeForIPhoto() const {
    store(folder_.masters() / photo_.folder / photo_.fileName, master());
    Picture seen = photo_.adjusted ? enhanced(upright_) : upright_;
    if (photo_.cropped) seen = cropped(seen);
    if (!photo_.pairUuid.empty())
      store(folder_.masters() / photo_.folder / (photo_.baseName + ".JPG"),
            jpegFile(upright_, 88, exifSegment(photo_, description())));
    writeVersion(photo_.versionUuid, seen, photo_.hasAdjustments());
    if (!photo_.duplicateUuid.empty())
      writeVersion(photo_.duplicateUuid, upright_, photo_.kind == MasterKind::Raw);
  }
  void writeForPhotos(const PhotoPaths& paths) const {
    const Picture seen = photo_.adjusted ? enhanced(upright_) : upright_;
    const auto storeAt = [this](const std::string& path, const auto& content) {
      if (!path.empty()) store(folder_.file(path), content());
    };
    storeAt(paths.original, [&] { return master(); });
    storeAt(paths.rendered, [&] { return jpegFile(seen, 88); });
    storeAt(paths.developed, [&] { return jpegFile(upright_, 88); });
    storeAt(paths.liveMovie, [&] { return movie(); });
    storeAt(paths.rawOriginal, [&] { return tiffFile(fittedInto(upright_, 240)); });
    storeAt(paths.thumbnail, [&] { return jpegFile(fittedInto(seen, kThumbnailSide), 80); });
    storeAt(paths.mini, [&] { return jpegFile(fittedInto(seen, kMiniSide), 80); });
    for (std::size_t f = 0; f < paths.faceTiles.size(); ++f)
      storeAt(paths.faceTiles[f], [&] { return jpegFile(portrait(photo_.faces[f].person, kTileSide), 85); });
  }
  void store(const std::filesystem::path& file, const std::string& bytes) const {
    LibraryFolder::writeFile(file, bytes, photo_.date);
  }
  std::string description() const {
    return photo_.comment ? plan_.captions()[photo_.comment - 1] : std::string();
  }
  std::string master() const {
    switch (photo_.kind) {
      // A TIFF file in place of RAW data, whose formats are based on TIFF. It is never decoded: the server
      // sends the preview.
      case MasterKind::Raw:
        return tiffFile(fittedInto(upright_, 240));
      case MasterKind::Tiff:
        return tiffFile(fittedInto(upright_, 800));
      case MasterKind::Movie:
        return movie();
      case MasterKind::Jpeg:
        break;
    }
    return jpegFile(rotated(upright_, photo_.rotation), 88, exifSegment(photo_, description()));
  }
  // Two hours from the photo's hour on, in two seconds.
  std::string movie() const {
    const bool small = plan_.options().images == Images::Small;
    const int width = small ? 64 : 320, height = small ? 36 : 180;
    std::vector<std::string> frames;
    LandscapeKind kind = kind_;
    for (int i = 0; i < kMovieFrames; ++i, kind.hour += 2.0 / kMovieFrames)
      frames.push_back(jpegFile(landscape(kind, width, height), 80));
    return movieFile(frames, width, height, kFramesPerSecond);
  }
  void writeVersion(const std::string& uuid, const Picture& picture, bool preview) const {
    const std::filesystem::path place = photo_.proxyFolder(uuid);
    const Picture thumbnail = fittedInto(picture, kThumbnailSide);
    store(folder_.thumbnails() / place / (photo_.baseName + "_1024.jpg"), jpegFile(thumbnail, 80));
    store(folder_.thumbnails() / place / (photo_.baseName + ".jpg"),
          jpegFile(fittedInto(thumbnail, kMiniSide), 80));
    if (preview) {
      Photo upright = photo_;
      upright.rotation = 0;
      upright.width = picture.width, upright.height = picture.height;
      store(folder_.previews() / place / (photo_.baseName + ".jpg"),
            jpegFile(picture, 88, exifSegment(upright, description())));
    }
    for (std::size_t f = 0; f < photo_.faces.size(); ++f)
      store(folder_.thumbnails() / place / (photo_.baseName + "_face" + std::to_string(f) + ".jpg"),
            jpegFile(portrait(photo_.faces[f].person, kTileSide), 85));
  }

  const SamplePlan& plan_;
  const LibraryFolder& folder_;
  Photo photo_;
  LandscapeKind kind_;
  Picture upright_;
};

}  // namespace

void writePictures(const SamplePlan& plan, const LibraryFolder& folder) {
  std::atomic<std::size_t> next = 0;
  const auto work = [&] {
    for (std::size_t i = next++; i < plan.photoCount(); i = next++)
      PhotoFiles(plan, folder, plan.photo(i)).write();
  };
  std::vector<std::future<void>> workers;
  for (unsigned i = std::max(1u, std::thread::hardware_concurrency()); i > 0; --i)
    workers.push_back(std::async(std::launch::async, work));
  for (auto& worker : workers) worker.get();
}

}  // namespace moxtel::makelibrary
