#include "web/files/PictureRequests.h"

#include <algorithm>

#include "library/answers/OpenLibrary.h"
#include "library/facts/PictureShape.h"
#include "pictures/codec/Jpeg.h"
#include "pictures/codec/PictureKind.h"
#include "pictures/codec/ShrunkPicture.h"
#include "platform/files/FileCache.h"
#include "web/files/PictureMaker.h"
#include "web/lists/ListMaker.h"

namespace moxtel {
namespace {

bool isOpen(const OpenFile& file) { return file.state == FileState::Open; }

bool isJpeg(const OpenFile& file) {
  return kindOfPicture(readStart(file, kPictureStartSize)) == PictureKind::Jpeg;
}

// A copied function has to be copyable, and a file is not.
std::shared_ptr<OpenFile> shared(OpenFile file) { return std::make_shared<OpenFile>(std::move(file)); }

std::string keyOf(const FileTask& task, const std::string& what, const OpenFile& file) {
  return task.library->id() + "-" + what + "-" + std::to_string(task.id) + "-" + stampText(file) + ".jpg";
}

std::optional<Bytes> faceOf(PictureDecoder& decoder, const OpenFile& file, int degrees,
                            const SquareInPicture& square) {
  const auto upright = decoder.previewOf(file, PictureRequests::kPreviewSide, degrees);
  if (!upright) return std::nullopt;
  // The helper's own JPEG.
  const JpegPixels whole = pixelsOfJpeg(*upright);
  if (whole.outcome != JpegOutcome::Done) return std::nullopt;
  const PixelBuffer part = cutOut(whole.image, square);
  PixelBufferSource source(part);
  ShrunkPicture tile(source, PictureRequests::kFaceSide);
  return jpegOf(tile);
}

}  // namespace

bool PictureRequests::sendKnownThumbnail(const WebLibrary& library, const HttpRequest& request,
                                         std::int64_t id, bool mini, HttpResponder& responder) const {
  auto known = thumbnails_.open(library, id, mini);
  if (!known) return false;
  HttpReply reply;
  reply.type = "image/jpeg";
  reply.etag = std::move(known->etag);
  reply.cache = cacheOf(request, library);
  reply.body = std::move(known->file);
  responder.send(std::move(reply));
  return true;
}

void PictureRequests::thumbnail(FileTask task, bool mini) {
  const auto library = task.library;
  const auto answer = [this, task, mini](OpenLibrary& open) {
    PhotoFiles files(open);
    if (!files.isShown(task.id)) return task.sendMissing(open);
    OpenFile file = files.thumbnail(task.id, mini);
    if (isOpen(file) && isJpeg(file)) {
      if (!mayLackFiles(open))
        thumbnails_.keep(*task.library, versionText(open.version()), task.id, mini, file);
      return task.send(fileReply(std::move(file), "image/jpeg", task.cache()));
    }
    const std::uint32_t side = mini ? kSquareSide : kThumbnailSide;
    if (isOpen(file)) return sendPicture(task, open, {std::move(file), 0}, side);
    const auto photo = files.shown(task.id);
    return photo ? sendPicture(task, open, files.best(*photo), side) : task.sendMissing(open);
  };
  if (!library->post(answer)) task.sendBusy();
}

void PictureRequests::face(FileTask task, std::int64_t index) {
  const auto library = task.library;
  const auto answer = [this, task, index](OpenLibrary& open) {
    PhotoFiles files(open);
    if (!files.isShown(task.id)) return task.sendMissing(open);
    OpenFile tile = files.faceTile(task.id, index);
    if (isOpen(tile) && isJpeg(tile))
      return task.send(fileReply(std::move(tile), "image/jpeg", task.cache()));
    const auto photo = files.shown(task.id);
    if (!photo) return task.sendMissing(open);
    OpenFile upright = files.thumbnail(task.id, false);
    return sendFace(task, open, *photo, index,
                    isOpen(upright) ? PictureFile{std::move(upright), 0} : files.best(*photo));
  };
  if (!library->post(answer)) task.sendBusy();
}

void PictureRequests::preview(FileTask task, std::uint32_t side) {
  const auto library = task.library;
  const auto answer = [this, task, side](OpenLibrary& open) {
    PhotoFiles files(open);
    const auto photo = files.shown(task.id);
    return photo ? sendPicture(task, open, files.best(*photo), side) : task.sendMissing(open);
  };
  if (!library->post(answer)) task.sendBusy();
}

void PictureRequests::original(FileTask task) {
  const auto library = task.library;
  const auto answer = [task](OpenLibrary& open) {
    PhotoFiles files(open);
    const auto photo = files.shown(task.id);
    PlacedFile found = photo ? files.original(*photo) : PlacedFile();
    if (!isOpen(found.file)) return task.sendMissing(open);
    const bool show = task.wants("show") && isJpeg(found.file);
    const std::string name =
        photo->fileName.empty() ? "photo" + extensionOf(found.place.path) : photo->fileName;
    HttpReply reply = fileReply(std::move(found.file), show ? "image/jpeg" : mediaTypeOf(found.place.path),
                                HttpReply::Cache::Private);
    if (show) {
      reply.headers.emplace_back("Content-Disposition", inlineWithName(name));
    } else {
      reply.downloadName = name;
    }
    task.send(std::move(reply));
  };
  if (!library->post(answer)) task.sendBusy();
}

void PictureRequests::edited(FileTask task) {
  const auto library = task.library;
  const auto answer = [task](OpenLibrary& open) {
    PhotoFiles files(open);
    const auto photo = files.shown(task.id);
    PlacedFile found = photo ? files.edited(*photo) : PlacedFile();
    if (!isOpen(found.file)) return task.sendMissing(open);
    const std::string stem = photo->fileName.substr(0, photo->fileName.rfind('.'));
    HttpReply reply =
        fileReply(std::move(found.file), mediaTypeOf(found.place.path), HttpReply::Cache::Private);
    reply.downloadName = (stem.empty() ? "photo" : stem) + extensionOf(found.place.path);
    task.send(std::move(reply));
  };
  if (!library->post(answer)) task.sendBusy();
}

void PictureRequests::sendPicture(const FileTask& task, OpenLibrary& open, PictureFile picture,
                                  std::uint32_t side) {
  // A lesser picture must not be kept by browsers in place of the one that could not be opened.
  if (!isOpen(picture.file) || mayLackFiles(open)) return task.sendMissing(open);
  if (sendWithoutDecoding(task, picture, side)) return;
  const std::string what = std::to_string(side) + "-" + std::to_string(picture.degrees);
  const std::string key = keyOf(task, what, picture.file);
  const int degrees = picture.degrees;
  sendMade(task, key, [file = shared(std::move(picture.file)), side, degrees](PictureDecoder& decoder) {
    return decoder.previewOf(*file, side, degrees);
  });
}

bool PictureRequests::sendWithoutDecoding(const FileTask& task, PictureFile& picture, std::uint32_t side) {
  properties::ByteSource source(picture.file);
  const auto head = JpegHead::of(source);
  if (!head || head->hasOtherInks() || std::max(head->width(), head->height()) > side / 2 * 3) return false;
  const bool isRight = degreesOfOrientation(head->orientation()) == picture.degrees;
  const int orientation = isRight ? head->orientation() : orientationOfDegrees(picture.degrees);
  if (orientation != 1 && task.wants("upright")) return false;
  if (isRight) {
    task.send(fileReply(std::move(picture.file), "image/jpeg", task.cache()));
    return true;
  }
  auto turned = head->turned(source, orientation);
  if (!turned) return false;
  task.send(turnedReply(std::move(picture.file), *std::move(turned), orientation, task.cache()));
  return true;
}

void PictureRequests::sendFace(const FileTask& task, OpenLibrary& open, const PhotoFacts& photo,
                               std::int64_t index, PictureFile picture) {
  const auto square = squareAround(photo, index);
  if (!square || !isOpen(picture.file) || mayLackFiles(open)) return task.sendMissing(open);
  const std::string key = keyOf(task, "face" + std::to_string(index), picture.file);
  const int degrees = picture.degrees;
  sendMade(task, key,
           [file = shared(std::move(picture.file)), degrees, square = *square](PictureDecoder& decoder) {
             return faceOf(decoder, *file, degrees, square);
           });
}

template <class Make>
void PictureRequests::sendMade(const FileTask& task, const std::string& key, Make make) {
  OpenFile kept = cache_.open(key);
  if (isOpen(kept)) {
    HttpReply reply = fileReply(std::move(kept), "image/jpeg", task.cache());
    reply.etag = key;
    return task.send(std::move(reply));
  }
  const auto done = [key, cache = task.cache()](const std::shared_ptr<HttpResponder>& responder,
                                                const std::shared_ptr<const Bytes>& made) {
    if (!made) return responder->send(errorReply(404, "unknown"));
    HttpReply reply;
    reply.type = "image/jpeg";
    reply.etag = key;
    reply.cache = cache;
    reply.body = std::string(made->begin(), made->end());
    responder->send(std::move(reply));
  };
  if (!maker_.make(key, std::move(make), task.responder, done)) task.sendBusy();
}

}  // namespace moxtel
