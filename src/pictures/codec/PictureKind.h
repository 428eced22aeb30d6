// What kind of picture a file's first bytes announce. Any thread.
#pragma once

#include <cstdint>
#include <span>

namespace moxtel {

enum class PictureKind : std::uint8_t { None, Jpeg, Png, Tiff, Gif, Bmp, Psd, Heif, Jpeg2000, WebP, Raw };

// That many bytes tell every kind; fewer (a short file) may be no picture.
inline constexpr std::size_t kPictureStartSize = 32;

// Tiff may also be a camera's RAW file, of which only the directories inside tell.
PictureKind kindOfPicture(std::span<const std::uint8_t> start);

}  // namespace moxtel
