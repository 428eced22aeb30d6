// The "{IPTC}" group: what a file says in IPTC data sets, in XMP, and, once one of these is there, in Exif.
// Any thread.
#pragma once

#include "pictures/properties/ExifGroups.h"
#include "pictures/properties/PictureFacts.h"
#include "pictures/properties/XmpProperties.h"

namespace moxtel::properties {

// Each key from the first source that has it: XMP, data sets, a PNG's texts, Exif. Empty for a file with
// neither data sets nor a property of XMP, nor a text, that has a key here.
Dictionary iptcGroup(const PictureFacts& facts, const XmpProperties& xmp, const ExifGroups& exif);

}  // namespace moxtel::properties
