// From a picture file of any kind to a JPEG or to pixels. Core thread; a call takes as long as the picture
// does, and no longer than kDecodingTime for anything but a JPEG.
//
// JPEG is decoded here. Every other kind is decoded by another program, moxtel-picture-decoder, which has
// little memory and time, may write no file but below its scratch folder, and can crash without harm. Without
// that program only JPEG is read.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "pictures/codec/PixelBuffer.h"
#include "platform/files/FileReader.h"

namespace moxtel {

class ProcessRunner;

class PictureDecoder final {
 public:
  static constexpr std::chrono::seconds kDecodingTime{60};

  // The absolute path of moxtel-picture-decoder: beside the running program, or in ../libexec/moxtel of it.
  static std::string installedHelper();

  // Borrows the runner.
  explicit PictureDecoder(ProcessRunner& processes, std::string helper = installedHelper());

  // A JPEG of the picture: full size, stored orientation, 8 bits, alpha flattened on white, colour profile
  // kept. Nothing for what is no picture, broken, or past the bounds of memory and time.
  std::optional<Bytes> jpegOf(const OpenFile& file);
  // The picture itself, in its stored orientation.
  std::optional<PixelBuffer> pixelsOf(const OpenFile& file);

 private:
  std::optional<Bytes> decodedElsewhere(const char* form, const std::string& path);

  ProcessRunner& processes_;
  const std::string helper_;
};

}  // namespace moxtel
