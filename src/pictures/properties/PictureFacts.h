// What a picture file says without its embedded metadata blocks being understood: its form, and where the
// blocks are. One reader per file format makes it; each is bounded by its ByteSource and believes nothing.
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

// Of so many dots per metre: whole dots per inch, as programs mean it.
inline Resolution perMetre(std::uint32_t width, std::uint32_t height) {
  return {std::round(width * 0.0254), std::round(height * 0.0254)};
}

struct PictureFacts {
  std::uint32_t width = 0;  // pixels as stored, whatever the orientation
  std::uint32_t height = 0;
  std::uint32_t depth = 8;  // bits per sample
  std::string_view colorModel = color_model::kRgb;
  bool hasAlpha = false;
  bool isFloat = false;
  bool isIndexed = false;
  bool isStandardRgb = false;            // the file says sRGB by other means than a profile
  std::optional<Resolution> resolution;  // as the format itself states it
  std::uint32_t tileWidth = 0;           // of a picture made of tiles, else 0
  std::uint32_t tileHeight = 0;

  Bytes exif;               // a TIFF structure
  Bytes iim;                // IPTC data sets, "1C 02 …"
  std::string xmp;          // the packet
  Bytes icc;                // a colour profile
  std::string profileName;  // where the format settles it

  Dictionary jfif;  // the groups that only their format has, ready
  Dictionary png;
  Dictionary gif;
  Dictionary webp;
  Dictionary ciff;
  Dictionary photoshop;
};

// How long a frame is shown whose file asks for so many seconds: browsers made it a rule that very short
// delays were not meant.
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
// The first directory of a TIFF file. A camera's RAW file is one too, whose picture lies elsewhere.
std::optional<PictureFacts> tiffFacts(ByteSource& file);

// Whether a TIFF's first directory holds a finished picture of the common kinds. A camera's RAW file has a
// preview, a sensor's pattern or a compression of its own there; a DNG may not, and is none either way.
bool isOrdinaryTiff(ByteSource& file);

}  // namespace moxtel::properties
