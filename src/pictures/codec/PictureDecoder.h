// Decodes a picture file of any kind to a JPEG or to pixels. One thread at a time; blocks until the picture
// is decoded, for anything but a JPEG at most kDecodingTime.
//
// JPEG is decoded in this process. All other kinds are decoded by moxtel-picture-decoder, whose memory and
// time are limited, which can read nothing else, write only below its scratch folder and use no network, and
// whose crash does no harm. Without that
// program only JPEG is decoded.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "pictures/codec/PixelBuffer.h"
#include "platform/files/FileReader.h"

namespace moxtel {

class ProcessRunner;

class PictureDecoder final {
 public:
  static constexpr std::chrono::seconds kDecodingTime{60};

  // The absolute path of moxtel-picture-decoder: beside the running program, or in ../libexec/moxtel relative
  // to it.
  static std::string installedHelper();

  // Borrows the runner. isUnwanted is called while the program decodes; true ends it. Deletes the scratch
  // folders that an earlier run left behind.
  explicit PictureDecoder(ProcessRunner& processes, std::string helper = installedHelper(),
                          std::function<bool()> isUnwanted = {});

  // A JPEG of the picture: full size, stored orientation, 8 bits, alpha flattened on white, color profile
  // kept. Nothing if the file is not a picture, is damaged, or exceeds the bounds of memory and time.
  std::optional<Bytes> jpegOf(const OpenFile& file);
  // A JPEG of at most side by side pixels, turned clockwise by a multiple of 90 degrees; else as jpegOf().
  // Made by the helper, which decodes no more than it needs; without it, of JPEGs only, in this process.
  std::optional<Bytes> previewOf(const OpenFile& file, std::uint32_t side, int degrees);
  // The pixels, in stored orientation.
  std::optional<PixelBuffer> pixelsOf(const OpenFile& file);

 private:
  std::optional<Bytes> jpegElsewhere(const std::string& form, const OpenFile& file);
  std::optional<Bytes> decodedElsewhere(const std::string& form, const OpenFile& file);

  ProcessRunner& processes_;
  const std::string helper_;
  const std::function<bool()> isUnwanted_;
};

}  // namespace moxtel
