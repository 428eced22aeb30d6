// Recognizes the format of a picture by the first bytes of the file. Any thread.
#pragma once

#include <cstdint>
#include <span>

namespace moxtel {

enum class PictureKind : std::uint8_t { None, Jpeg, Png, Tiff, Gif, Bmp, Psd, Heif, Jpeg2000, WebP, Raw };

// This number of bytes from the start of a file suffices to recognize each kind. A shorter file may be
// recognized, too.
inline constexpr std::size_t kPictureStartSize = 32;

// Tiff includes RAW files of cameras that only their directories distinguish from a TIFF.
PictureKind kindOfPicture(std::span<const std::uint8_t> start);

}  // namespace moxtel
