// The commands that deliver pictures: the files of thumbnails, previews and masters, and the master encoded
// again as JPEG. Core thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "commands/CommandHandler.h"
#include "pictures/codec/Cropping.h"
#include "platform/files/FileReader.h"

namespace moxtel {

class ImageFiles;
class Messages;
class PictureDecoder;

class ImageCommands final {
 public:
  // A reply's length has 32 bits, and an archive of one data object takes less than 4 KiB besides the data. A
  // larger file is not sent; the console says so.
  static constexpr std::uint64_t kLargestFile = 0xFFFF'FFFF - 4096;
  // Pictures are read whole before the reply begins, so that one that cannot be read gets an error reply.
  // Larger files, which are movies, are read while they are sent.
  static constexpr std::uint64_t kLargestReadWhole = std::uint64_t{32} << 20;

  // Borrows everything.
  ImageCommands(ImageFiles& files, PictureDecoder& decoder, Messages& messages);

  // Adds the handlers of the five commands, which borrow this object.
  void addTo(CommandHandler& handler);

 private:
  void thumbOfPhoto(const CommandRequest& request, ReplyChannel& reply);
  void dataOfPhoto(const CommandRequest& request, ReplyChannel& reply);
  void squareThumbOfPhoto(const CommandRequest& request, ReplyChannel& reply);
  void imageOfPhoto(const CommandRequest& request, ReplyChannel& reply);
  void fullscreenImageOfPhoto(const CommandRequest& request, ReplyChannel& reply);
  // Nothing if the file is missing, unreadable or too large.
  std::optional<ReplyData> dataOf(const std::optional<std::string>& path);
  std::optional<ReplyData> partOf(const std::optional<std::string>& path, const SquareInPicture& square);
  // Sends the file's content as the result, or the error.
  void sendFile(const std::optional<std::string>& path, std::string_view error, ReplyChannel& reply);
  std::optional<Bytes> jpegOfImage(const Value& key);

  ImageFiles& files_;
  PictureDecoder& decoder_;
  Messages& messages_;
};

}  // namespace moxtel
