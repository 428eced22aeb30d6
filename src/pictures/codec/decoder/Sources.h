// The readers of moxtel-picture-decoder, each a PictureSource over the bytes of a file, which outlive it.
// Nothing means that the file is no such picture, broken, or past the bounds; rows may still tell so later.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "pictures/codec/PictureKind.h"
#include "pictures/codec/PictureSource.h"

namespace moxtel::decoder {

using FileBytes = std::span<const std::uint8_t>;

// JPEG in other inks, PNG, TIFF, GIF, WebP and JPEG 2000, PSD in inks, Lab or with a palette, and by way of
// ImageMagick BMP and every other PSD. Rows come while the file is read, where the format allows it.
std::unique_ptr<PictureSource> openWithVips(FileBytes file, PictureKind kind);
// HEIC and AVIF without the turning and mirroring that the file asks for.
std::unique_ptr<PictureSource> openHeif(FileBytes file);
// A camera's RAW file, developed with the camera's white balance to sRGB, as the sensor saw it. Nothing for
// an ordinary TIFF.
std::unique_ptr<PictureSource> openRaw(FileBytes file, PictureKind kind);

}  // namespace moxtel::decoder
