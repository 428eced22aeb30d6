// The properties of a picture file: the image properties of the platform, of image 0. Core thread.
//
// A flat immutable dictionary: "PixelWidth", "PixelHeight", "Depth" (integers), "ColorModel" always;
// "DPIWidth", "DPIHeight" (reals), "Orientation" (1 to 8), "ProfileName", "HasAlpha", "IsFloat", "IsIndexed"
// (true), "PrimaryImage" (1, of HEIC) and the groups "{TIFF}", "{Exif}", "{GPS}", "{IPTC}", "{ExifAux}",
// "{JFIF}", "{PNG}", "{GIF}", "{8BIM}", "{WebP}", "{CIFF}", "{DNG}", "{MakerCanon}", "{MakerNikon}",
// "{MakerApple}" if the file has the data. What a file does not state is absent: no nulls, no defaults, no
// empty groups. Rationals are reals even if they are whole; SHORT and LONG are integers.
//
// The common formats are parsed in this process, part by part. The libraries for TIFF and RAW files need the
// whole file in memory: moxtel-property-reader maps and parses these with limited memory and time, and its
// crash does no harm. Without that program they have no properties. It also parses files with large metadata
// blocks, whose cost in memory and time is not bounded; if it fails, the contents of such a block are absent.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "platform/files/FileReader.h"
#include "value/Value.h"

namespace moxtel {

class ProcessRunner;

class ImagePropertyReader final {
 public:
  static constexpr std::chrono::seconds kReadingTime{10};

  // The absolute path of moxtel-property-reader: beside the running program, or in ../libexec/moxtel relative
  // to it.
  static std::string installedHelper();

  // Borrows the runner. isUnwanted is called while the program reads; true ends it.
  explicit ImagePropertyReader(ProcessRunner& processes, std::string helper = installedHelper(),
                               std::function<bool()> isUnwanted = {});

  // Nothing for a file that is not a picture or is damaged before its size is known. Reads only the parts of
  // the file that matter, in bounded time and memory.
  std::optional<Dictionary> propertiesOf(const OpenFile& file);

 private:
  std::optional<Dictionary> readElsewhere(const OpenFile& file);

  ProcessRunner& processes_;
  const std::string helper_;
  const std::function<bool()> isUnwanted_;
};

}  // namespace moxtel
