// The exif and tiff properties of an XMP packet, as property groups. Any thread.
#pragma once

#include "pictures/properties/ExifGroups.h"
#include "pictures/properties/XmpProperties.h"

namespace moxtel::properties {

// Adds missing keys to "{TIFF}", "{Exif}" and "{GPS}". Programs that write PNG often store Exif only so.
void fillFromXmp(const XmpProperties& xmp, ExifGroups& groups);

}  // namespace moxtel::properties
