#include "commands/ImageCommands.h"

#include <utility>

#include "library/ImageFiles.h"
#include "library/Messages.h"
#include "pictures/codec/Jpeg.h"
#include "pictures/codec/PictureDecoder.h"
#include "platform/system/SystemLog.h"
#include "support/Localization.h"
#include "value/Format.h"

namespace moxtel {
namespace {

constexpr std::string_view kNoImage = "No Image";

bool isMissing(const Value& key) { return key.string().empty(); }

// A path as an argument of %@; nil prints as (null).
Value pathValue(const std::optional<std::string>& path) { return path ? Value(*path) : Value(); }

}  // namespace

ImageCommands::ImageCommands(ImageFiles& files, PictureDecoder& decoder, Messages& messages)
    : files_(files), decoder_(decoder), messages_(messages) {}

void ImageCommands::addTo(CommandHandler& handler) {
  using Method = void (ImageCommands::*)(const CommandRequest&, ReplyChannel&);
  const auto add = [&](std::string_view command, Method method) {
    handler.add(command, [this, method](const CommandRequest& request, ReplyChannel& reply) {
      (this->*method)(request, reply);
    });
  };
  add("Thumb of Photo", &ImageCommands::thumbOfPhoto);
  add("Data of Photo", &ImageCommands::dataOfPhoto);
  add("Square Thumb of Photo", &ImageCommands::squareThumbOfPhoto);
  add("Image of Photo", &ImageCommands::imageOfPhoto);
  add("Fullscreen 1024 Image of Photo", &ImageCommands::fullscreenImageOfPhoto);
}

void ImageCommands::thumbOfPhoto(const CommandRequest& request, ReplyChannel& reply) {
  sendFile(files_.thumbnailPathWithUuid(request.key(), false, false), "No Thumbnail", reply);
}

void ImageCommands::dataOfPhoto(const CommandRequest& request, ReplyChannel& reply) {
  const Value& key = request.key();
  // Continues on purpose: clients expect a second reply, that of the look-up without a key.
  if (isMissing(key)) reply.sendToClientErrorString(kNoImage);
  sendFile(files_.pathNameOfImageWithUuid(key), kNoImage, reply);
}

void ImageCommands::squareThumbOfPhoto(const CommandRequest& request, ReplyChannel& reply) {
  const Value& key = request.key();
  if (isMissing(key)) {
    reply.sendToClientErrorString("No key for Square Thumb");
    return;
  }
  const auto path = files_.thumbnailPathWithUuid(key, true, request["isFace"].boolValue());
  auto data = files_.partOfPicture() ? partOf(path, *files_.partOfPicture()) : dataOf(path);
  if (data) {
    reply.sendToClientResultData(*std::move(data));
    return;
  }
  NSLog("found NO thumbnail at '%@' for key '%@'", pathValue(path), key);
  reply.sendToClientErrorString("No Square Thumb");
}

void ImageCommands::imageOfPhoto(const CommandRequest& request, ReplyChannel& reply) {
  const Value& key = request.key();
  std::optional<Bytes> jpeg;
  if (!isMissing(key)) jpeg = jpegOfImage(key);
  if (jpeg) {
    reply.sendToClientResultObject(*std::move(jpeg));
  } else {
    reply.sendToClientErrorString(kNoImage);
  }
}

std::optional<Bytes> ImageCommands::jpegOfImage(const Value& key) {
  const auto path = files_.pathNameOfImageWithUuid(key);
  if (!path) return std::nullopt;
  const OpenFile file = files_.open(path);
  // Called only for its log line: the client rotates the picture itself.
  files_.rotationOfVersionId(key);
  files_.releaseLocks();
  return file.state == FileState::Open ? decoder_.jpegOf(file) : std::nullopt;
}

void ImageCommands::fullscreenImageOfPhoto(const CommandRequest& request, ReplyChannel& reply) {
  const Value& key = request.key();
  if (isMissing(key)) {
    reply.sendToClientErrorString(kNoImage);
    return;
  }
  sendFile(files_.thumbnailPathWithUuid(key, false, false), kNoImage, reply);
}

std::optional<ReplyData> ImageCommands::partOf(const std::optional<std::string>& path,
                                               const SquareInPicture& square) {
  const OpenFile file = files_.open(path);
  const auto pixels = file.state == FileState::Open ? decoder_.pixelsOf(file) : std::nullopt;
  if (!pixels) return std::nullopt;
  const PixelBuffer part = cutOut(*pixels, square);
  PixelBufferSource source(part);
  std::optional<Bytes> jpeg = moxtel::jpegOf(source);
  if (!jpeg) return std::nullopt;
  return *std::move(jpeg);
}

std::optional<ReplyData> ImageCommands::dataOf(const std::optional<std::string>& path) {
  OpenFile file = files_.open(path);
  if (file.state != FileState::Open) return std::nullopt;
  if (file.size > kLargestFile) {
    messages_.showTitle("Info", formatRuntime(UserText::tr("File is too large to be sent (%llu bytes): '%@'"),
                                              file.size, pathValue(path)));
    return std::nullopt;
  }
  if (file.size > kLargestReadWhole) return file;
  FileContents contents = readAll(file, kLargestReadWhole);
  if (contents.state != FileState::Open) return std::nullopt;
  return std::move(contents.bytes);
}

void ImageCommands::sendFile(const std::optional<std::string>& path, std::string_view error,
                             ReplyChannel& reply) {
  if (auto data = dataOf(path)) {
    reply.sendToClientResultData(*std::move(data));
  } else {
    reply.sendToClientErrorString(error);
  }
}

}  // namespace moxtel
