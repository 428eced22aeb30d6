// The properties of a picture file: what the platform's image library tells clients about image 0. Core
// thread.
//
// A flat immutable dictionary: "PixelWidth", "PixelHeight", "Depth" (integers), "ColorModel" always;
// "DPIWidth", "DPIHeight" (reals), "Orientation" (1 to 8), "ProfileName", "HasAlpha", "IsFloat", "IsIndexed"
// (true), "PrimaryImage" (1, of HEIC) and the groups "{TIFF}", "{Exif}", "{GPS}", "{IPTC}", "{ExifAux}",
// "{JFIF}", "{PNG}", "{GIF}", "{8BIM}", "{WebP}", "{CIFF}", "{DNG}", "{MakerCanon}", "{MakerNikon}",
// "{MakerApple}" where the file has something to say. What it does not say is absent: no nulls, no defaults,
// no empty groups. Rationals are reals even when they are whole, SHORT and LONG are integers.
//
// The common formats are read here, part by part. TIFF and the cameras' own files must be whole in memory for
// the libraries that know them: another program, moxtel-property-reader, maps and reads them with little
// memory and time, and can crash without harm. Without that program these have no properties. It reads files
// with large blocks of metadata, too, for understanding them may take any amount of both; where it fails,
// what such a block says is absent.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform/files/FileReader.h"
#include "value/Value.h"

namespace moxtel {

class ProcessRunner;

class ImagePropertyReader final {
 public:
  static constexpr std::chrono::seconds kReadingTime{10};

  // The absolute path of moxtel-property-reader: beside the running program, or in ../libexec/moxtel of it.
  static std::string installedHelper();

  // Borrows the runner.
  explicit ImagePropertyReader(ProcessRunner& processes, std::string helper = installedHelper());

  // Nothing for a file that is no picture, or damaged before its size is told. Reads the parts of the file
  // that matter, in bounded time and memory.
  std::optional<Dictionary> propertiesOf(const OpenFile& file);

 private:
  std::optional<Dictionary> readElsewhere(const std::string& path);

  ProcessRunner& processes_;
  const std::string helper_;
};

}  // namespace moxtel
