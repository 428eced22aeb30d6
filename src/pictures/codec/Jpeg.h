// Decodes and encodes JPEG. Any thread; calls share no state and do not throw.
//
// Bounds: at most kMaximumPixels; a file of several scans (progressive) needs its coefficients in memory, two
// bytes per sample, and is Broken if they exceed kMaximumCoefficientMemory or if it has more scans than any
// encoder writes. All else takes a few rows of memory besides input and output.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "pictures/codec/PictureSource.h"
#include "pictures/codec/PixelBuffer.h"
#include "value/Value.h"

namespace moxtel {

// libjpeg's quality, 0 to 100.
inline constexpr int kJpegQuality = 80;
inline constexpr long kMaximumCoefficientMemory = 768l << 20;  // bytes: 250 megapixels in the common 4:2:0
inline constexpr int kMaximumScans = 64;

enum class JpegOutcome : std::uint8_t {
  Done,
  Broken,     // not a JPEG, truncated, or beyond the bounds
  OtherInks,  // CMYK or YCCK: intact as far as read; becomes RGB only with a profile
};

struct JpegResult {
  JpegOutcome outcome = JpegOutcome::Broken;
  Bytes jpeg;
};

// Encodes the picture again, with the same size, color model and subsampling (an RGB file becomes YCbCr) and
// the same color profile. All other metadata are dropped, the orientation tag included. The sample planes go
// from the decoder to the encoder without conversion.
JpegResult reencodedJpeg(std::span<const std::uint8_t> file);

// Gray stays gray; alpha is flattened on white; the profile is kept. Nothing if the source fails, or if the
// picture is wider or higher than 65500 pixels, the limit of the format.
std::optional<Bytes> jpegOf(PictureSource& source);

struct JpegPixels {
  JpegOutcome outcome = JpegOutcome::Broken;
  PixelBuffer image;
};
// The picture as Gray or Rgb, in its stored orientation.
JpegPixels pixelsOfJpeg(std::span<const std::uint8_t> file);

}  // namespace moxtel
