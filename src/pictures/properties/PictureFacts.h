// What the container of a picture file states: size, color model and the like, and the embedded metadata
// blocks, not yet parsed. There is one reader per file format. Its work is bounded by the ByteSource, and it
// trusts no number in the file. Our own readers, so that the server process runs no decoding library on these
// files and reads only the parts that matter.
#pragma once

#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "pictures/properties/ByteSource.h"
#include "value/Value.h"

namespace moxtel::properties {

namespace color_model {
inline constexpr std::string_view kRgb = "RGB";
inline constexpr std::string_view kGray = "Gray";
inline constexpr std::string_view kCmyk = "CMYK";
inline constexpr std::string_view kLab = "Lab";
}  // namespace color_model

struct Resolution {
  double width = 0;  // dots per inch
  double height = 0;
};

// From dots per meter, rounded to whole dots per inch: programs that write such files choose whole numbers.
inline Resolution perMeter(std::uint32_t width, std::uint32_t height) {
  return {std::round(width * 0.0254), std::round(height * 0.0254)};
}

struct PictureFacts {
  std::uint32_t width = 0;  // pixels as stored, before orientation
  std::uint32_t height = 0;
  std::uint32_t depth = 8;  // bits per sample
  std::string_view colorModel = color_model::kRgb;
  bool hasAlpha = false;
  bool isFloat = false;
  bool isIndexed = false;
  bool isStandardRgb = false;            // the file states sRGB without a profile
  std::optional<Resolution> resolution;  // of the format itself, not of Exif
  std::uint32_t tileWidth = 0;           // pixels, of a picture made of tiles, else 0
  std::uint32_t tileHeight = 0;

  Bytes exif;               // a TIFF structure
  Bytes iim;                // IPTC data sets, "1C 02 …"
  std::string xmp;          // the packet
  Bytes icc;                // a color profile
  std::string profileName;  // if the format determines it

  Dictionary jfif;  // complete groups of one format each
  Dictionary png;
  Dictionary gif;
  Dictionary webp;
  Dictionary ciff;
  Dictionary photoshop;
};

// The time that a frame is shown, from the seconds in the file: browsers replace very short delays.
inline double shownDelay(double seconds) { return seconds <= 0.05 ? 0.1 : seconds; }

// The facts, or nothing if they have no size.
inline std::optional<PictureFacts> withSize(PictureFacts facts) {
  if (facts.width == 0 || facts.height == 0) return std::nullopt;
  return facts;
}

// Nothing for a file that is damaged before its size is known.
std::optional<PictureFacts> jpegFacts(ByteSource& file);
std::optional<PictureFacts> pngFacts(ByteSource& file);
std::optional<PictureFacts> gifFacts(ByteSource& file);
std::optional<PictureFacts> photoshopFacts(ByteSource& file);
std::optional<PictureFacts> heifFacts(ByteSource& file);
std::optional<PictureFacts> webpFacts(ByteSource& file);
std::optional<PictureFacts> bitmapFacts(ByteSource& file);
std::optional<PictureFacts> jpeg2000Facts(ByteSource& file);
// The first directory of a TIFF file. Also accepts a RAW file, whose picture is elsewhere.
std::optional<PictureFacts> tiffFacts(ByteSource& file);

// Whether a TIFF's first directory describes a developed picture of a common kind. In a RAW file it describes
// a preview or a sensor pattern, or uses another compression; a DNG never counts as ordinary.
bool isOrdinaryTiff(ByteSource& file);

}  // namespace moxtel::properties
