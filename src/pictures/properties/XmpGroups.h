// What a packet says in the words of Exif and TIFF, as property groups. Any thread.
#pragma once

#include "pictures/properties/ExifGroups.h"
#include "pictures/properties/XmpProperties.h"

namespace moxtel::properties {

// Adds to "{TIFF}", "{Exif}" and "{GPS}" what is not there yet. Programs that write PNG often have no other
// place for it.
void fillFromXmp(const XmpProperties& xmp, ExifGroups& groups);

}  // namespace moxtel::properties
