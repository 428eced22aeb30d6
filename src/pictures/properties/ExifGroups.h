// Exif data as property groups. Exiv2 reads the data; in the server it gets an embedded block in memory,
// never a file. Every exception of its own ends here. One thread at a time.
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
  Dictionary canonAux;  // what a Canon adds to "{ExifAux}"
  Dictionary nikonAux;
  Dictionary dng;    // "{DNG}"
  Dictionary apple;  // "{MakerApple}"
};

enum class ExifOrigin : std::uint8_t {
  Block,     // embedded in a picture of another format
  TiffFile,  // the file itself: its first directory describes the stored picture
};

// A TIFF structure; empty groups for what is none.
ExifGroups exifGroups(FileBytes tiff, ExifOrigin origin);
// The same from data that Exiv2 has read.
ExifGroups groupsOf(const Exiv2::ExifData& data, ExifOrigin origin);

}  // namespace moxtel::properties
