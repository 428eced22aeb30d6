// The arguments of moxtel-picture-decoder and its output on standard output.
//
//     moxtel-picture-decoder FORM SCRATCH < FILE
//
// The picture is standard input, a regular file. FORM is "jpeg", "pixels" or "preview:SIDE:DEGREES": a JPEG
// of at most SIDE by SIDE pixels, turned clockwise by 0, 90, 180 or 270 degrees. SCRATCH is an empty folder
// for temporary files; if it is an empty text, none are written. The output is a header of five little-endian
// 32-bit words (magic, width, height, bytes per pixel, bytes of the color profile), the profile, and the
// pixels. For a JPEG all words but the magic are 0, and the JPEG follows. The output is complete only if the
// exit status is 0.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "pictures/codec/PixelBuffer.h"

namespace moxtel::decoder {

inline constexpr const char* kJpegForm = "jpeg";
inline constexpr const char* kPixelsForm = "pixels";

struct Preview {
  std::uint32_t side = 0;  // pixels
  int degrees = 0;         // clockwise
};
std::string previewForm(const Preview& preview);
// Nothing for another form.
std::optional<Preview> previewIn(std::string_view form);

inline constexpr std::uint32_t kMagic = 0x3142584D;
inline constexpr std::size_t kHeaderSize = 20;

std::array<std::uint8_t, kHeaderSize> headerOf(const PixelBuffer& image);
// The picture in the output; nothing if the lengths are inconsistent.
std::optional<PixelBuffer> pictureIn(std::span<const std::uint8_t> answer);
// The JPEG in the output: what follows the header.
bool isAnswer(std::span<const std::uint8_t> answer);

}  // namespace moxtel::decoder
