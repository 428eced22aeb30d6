// The commands that deliver pictures: thumbnails, previews and masters as they lie in the library, and the
// master encoded anew as JPEG. Core thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "commands/CommandHandler.h"
#include "platform/files/FileReader.h"

namespace moxtel {

class ImageFiles;
class Messages;
class PictureDecoder;

class ImageCommands final {
 public:
  // A reply tells its length in 32 bits, and an archive of one data object takes less than 4 KiB above the
  // data. A larger file is not read; the console says so.
  static constexpr std::uint64_t kLargestFile = 0xFFFF'FFFF - 4096;

  // Borrows everything.
  ImageCommands(ImageFiles& files, PictureDecoder& decoder, Messages& messages);

  // Gives the five commands their handlers, which borrow this.
  void addTo(CommandHandler& handler);

 private:
  void thumbOfPhoto(const CommandRequest& request, ReplyChannel& reply);
  void dataOfPhoto(const CommandRequest& request, ReplyChannel& reply);
  void squareThumbOfPhoto(const CommandRequest& request, ReplyChannel& reply);
  void imageOfPhoto(const CommandRequest& request, ReplyChannel& reply);
  void fullscreenImageOfPhoto(const CommandRequest& request, ReplyChannel& reply);
  FileContents contentsOf(const std::optional<std::string>& path);
  // The file's bytes as the result, or the error.
  void sendFile(const std::optional<std::string>& path, std::string_view error, ReplyChannel& reply);
  std::optional<Bytes> jpegOfImage(const Value& key);

  ImageFiles& files_;
  PictureDecoder& decoder_;
  Messages& messages_;
};

}  // namespace moxtel
