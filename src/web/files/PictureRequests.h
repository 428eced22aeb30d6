// Answers requests for pictures: thumbnails, faces, previews, originals. Any thread.
//
// A picture of the library that needs no change is sent from its file; a JPEG that only lies on its side is
// sent with another Exif orientation; all else is made by PictureMaker.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "web/files/FileReplies.h"
#include "web/files/KnownThumbnails.h"
#include "web/files/PhotoFiles.h"

namespace moxtel {

class FileCache;
class PictureMaker;

class PictureRequests final {
 public:
  static constexpr std::uint32_t kThumbnailSide = 1024;  // pixels
  static constexpr std::uint32_t kSquareSide = 360;
  static constexpr std::uint32_t kFaceSide = 320;
  static constexpr std::uint32_t kPreviewSide = 2048;
  static constexpr std::uint32_t kLargeSide = 4096;

  // Borrows both.
  PictureRequests(FileCache& cache, PictureMaker& maker) : cache_(cache), maker_(maker) {}

  void thumbnail(FileTask task, bool mini);
  // Sends a thumbnail that was sent before, on this thread and without a look at the databases. False if that
  // is not possible.
  bool sendKnownThumbnail(const WebLibrary& library, const HttpRequest& request, std::int64_t id, bool mini,
                          HttpResponder& responder) const;
  void face(FileTask task, std::int64_t index);
  // At most side by side pixels, upright; a file of the library may be half as large again.
  void preview(FileTask task, std::uint32_t side);
  void original(FileTask task);
  void edited(FileTask task);

 private:
  // Sends the picture as it is, turned, from the cache, or made.
  void sendPicture(const FileTask& task, OpenLibrary& open, PictureFile picture, std::uint32_t side);
  bool sendWithoutDecoding(const FileTask& task, PictureFile& picture, std::uint32_t side);
  void sendFace(const FileTask& task, OpenLibrary& open, const PhotoFacts& photo, std::int64_t index,
                PictureFile picture);
  template <class Make>
  void sendMade(const FileTask& task, const std::string& key, Make make);

  KnownThumbnails thumbnails_;
  FileCache& cache_;
  PictureMaker& maker_;
};

}  // namespace moxtel
