// What moxtel-picture-decoder is asked and what it answers on its standard output.
//
//     moxtel-picture-decoder FORM FILE SCRATCH
//
// FORM is "jpeg" or "pixels". SCRATCH is an empty folder for temporary files, or empty: then there are none.
// The answer is a header of five little-endian 32-bit words (magic, width, height, bytes a pixel, bytes of
// the colour profile), then the bytes of the profile, then those of the pixels; with "jpeg" the header is all
// zeros but the magic, and the JPEG's bytes follow. Exit status 0 and nothing else means that the answer is
// whole.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "pictures/codec/PixelBuffer.h"

namespace moxtel::decoder {

inline constexpr const char* kJpegForm = "jpeg";
inline constexpr const char* kPixelsForm = "pixels";
inline constexpr std::uint32_t kMagic = 0x3142584D;
inline constexpr std::size_t kHeaderSize = 20;

std::array<std::uint8_t, kHeaderSize> headerOf(const PixelBuffer& image);
// The picture that an answer holds; nothing when the lengths do not fit each other.
std::optional<PixelBuffer> pictureIn(std::span<const std::uint8_t> answer);
// The JPEG that an answer holds: what follows the header.
bool isAnswer(std::span<const std::uint8_t> answer);

}  // namespace moxtel::decoder
