// The readers of moxtel-picture-decoder. Each is a PictureSource over the bytes of a file, which it borrows.
// Nothing means that the file is not such a picture, is damaged, or exceeds the bounds; damage further on
// shows when its rows are read.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "pictures/codec/PictureKind.h"
#include "pictures/codec/PictureSource.h"

namespace moxtel::decoder {

using FileBytes = std::span<const std::uint8_t>;

// CMYK JPEG, PNG, TIFF, GIF, WebP and JPEG 2000; PSD in CMYK, Lab or with a palette; BMP and any other PSD
// through ImageMagick. Decodes row by row if the format allows it.
std::unique_ptr<PictureSource> openWithVips(FileBytes file, PictureKind kind);
// HEIC and AVIF, without applying the rotation and mirroring that the file requests.
std::unique_ptr<PictureSource> openHeif(FileBytes file);
// Gray and RGB JPEG. Decoded at a half, a quarter or an eighth of its size where its longer side still has
// this many pixels. hasOtherInks: why there is none may be that it is CMYK.
std::unique_ptr<PictureSource> openJpeg(FileBytes file, std::uint32_t side, bool& hasOtherInks);
// A camera's RAW file, developed to sRGB with the camera's white balance, not rotated. Nothing for an
// ordinary TIFF. Developed at half of its size where its longer side then still has `side` pixels.
inline constexpr std::uint32_t kWholeSize = UINT32_MAX;
std::unique_ptr<PictureSource> openRaw(FileBytes file, PictureKind kind, std::uint32_t side = kWholeSize);

}  // namespace moxtel::decoder
