// The properties of a picture file: what the platform's image library tells clients about image 0. Core
// thread.
//
// A flat immutable dictionary: "PixelWidth", "PixelHeight", "Depth" (integers), "ColorModel" always;
// "DPIWidth", "DPIHeight" (reals), "Orientation" (1 to 8), "ProfileName", "HasAlpha", "IsFloat", "IsIndexed"
// (true) and the groups "{TIFF}", "{Exif}", "{GPS}", "{IPTC}", "{ExifAux}", "{JFIF}", "{PNG}", "{GIF}",
// "{8BIM}", "{MakerApple}" where the file has something to say. What it does not say is absent: no nulls, no
// defaults, no empty groups. Rationals are reals even when they are whole, SHORT and LONG are integers.
#pragma once

#include <optional>

#include "platform/FileReader.h"
#include "value/Value.h"

namespace moxtel {

class ProcessRunner;

class ImagePropertyReader final {
 public:
  // Borrows the runner.
  explicit ImagePropertyReader(ProcessRunner& processes);

  // Nothing for a file that is no picture, or damaged before its size is told. Reads the parts of the file
  // that matter, in bounded time and memory.
  std::optional<Dictionary> propertiesOf(const OpenFile& file);

 private:
  ProcessRunner& processes_;
};

}  // namespace moxtel
