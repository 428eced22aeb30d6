// Picture files as bytes: JPEG with Exif data, baseline TIFF, and QuickTime movies of JPEG frames. All are
// complete files that viewers can open. Throw WriteError.
#pragma once

#include <string>
#include <vector>

#include "makelibrary/Landscape.h"

namespace moxtel::makelibrary {

struct Photo;

// The APP1 segment (without marker and length) that describes a photo: camera, date, exposure, orientation
// and the position if it has one. Exif 2.3, little-endian.
std::string exifSegment(const Photo& photo, const std::string& description);

// quality: 1 to 100. An empty exif writes none.
std::string jpegFile(const Picture& picture, int quality, const std::string& exif = {});
// Uncompressed RGB.
std::string tiffFile(const Picture& picture);
// Frames of equal size, each a complete JPEG file.
std::string movieFile(const std::vector<std::string>& frames, int width, int height, int framesPerSecond);

}  // namespace moxtel::makelibrary
