// The "{IPTC}" group: from IPTC data sets, from XMP and, if one of these exists, from Exif. Any thread.
#pragma once

#include "pictures/properties/ExifGroups.h"
#include "pictures/properties/PictureFacts.h"
#include "pictures/properties/XmpProperties.h"

namespace moxtel::properties {

// Each key comes from the first source that has it: XMP, data sets, texts of a PNG, Exif. Empty if none of
// the first three has any key of the group.
Dictionary iptcGroup(const PictureFacts& facts, const XmpProperties& xmp, const ExifGroups& exif);

}  // namespace moxtel::properties
