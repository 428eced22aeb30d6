// Exif data as property groups. Exiv2 parses the data; in the server process only an embedded block in
// memory, never a file. Its exceptions do not leave these functions. One thread at a time.
#pragma once

#include "pictures/properties/ByteSource.h"
#include "value/Value.h"

namespace Exiv2 {
class ExifData;
}

namespace moxtel::properties {

struct ExifGroups {
  Dictionary tiff;      // "{TIFF}"
  Dictionary exif;      // "{Exif}"
  Dictionary gps;       // "{GPS}"
  Dictionary canon;     // "{MakerCanon}"
  Dictionary nikon;     // "{MakerNikon}"
  Dictionary canonAux;  // Canon's additions to "{ExifAux}"
  Dictionary nikonAux;
  Dictionary dng;    // "{DNG}"
  Dictionary apple;  // "{MakerApple}"
};

enum class ExifOrigin : std::uint8_t {
  Block,     // embedded in a picture of another format
  TiffFile,  // the file itself: its first directory describes the stored picture
};

// From a TIFF structure; empty groups for any other bytes.
ExifGroups exifGroups(FileBytes tiff, ExifOrigin origin);
// From data that Exiv2 has parsed.
ExifGroups groupsOf(const Exiv2::ExifData& data, ExifOrigin origin);

}  // namespace moxtel::properties
