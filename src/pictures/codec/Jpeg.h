// JPEG in and out. Any thread; nothing is shared between calls, nothing throws.
//
// Bounds: at most kMaximumPixels; a file of several scans (progressive) needs its coefficients in memory, two
// bytes a sample, and is broken where that passes kMaximumCoefficientMemory, or where it has more scans than
// any encoder writes. Everything else takes a few rows of memory above input and output.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "pictures/codec/PictureSource.h"
#include "pictures/codec/PixelBuffer.h"
#include "value/Value.h"

namespace moxtel {

// Of the usual scale from 0 to 100.
inline constexpr int kJpegQuality = 80;
inline constexpr long kMaximumCoefficientMemory = 768l << 20;  // bytes: 250 megapixels in the common 4:2:0
inline constexpr int kMaximumScans = 64;

enum class JpegOutcome : std::uint8_t {
  Done,
  Broken,     // no JPEG, a cut-off one, one past the bounds
  OtherInks,  // CMYK or YCCK: intact as far as read, but its colours need a profile to become RGB
};

struct JpegResult {
  JpegOutcome outcome = JpegOutcome::Broken;
  Bytes jpeg;
};

// The picture encoded anew: same size, same colour model and subsampling (an RGB file becomes YCbCr), its
// colour profile kept, everything else that the file carries left out, its orientation tag included. The
// sample planes go straight from the decoder to the encoder.
JpegResult reencodedJpeg(std::span<const std::uint8_t> file);

// Gray stays gray; alpha is flattened on white; the profile is kept. Nothing when the source breaks off, or
// the picture is wider or higher than the 65500 pixels that the format takes.
std::optional<Bytes> jpegOf(PictureSource& source);

struct JpegPixels {
  JpegOutcome outcome = JpegOutcome::Broken;
  PixelBuffer image;
};
// The picture as Gray or Rgb, in its stored orientation.
JpegPixels pixelsOfJpeg(std::span<const std::uint8_t> file);

}  // namespace moxtel
