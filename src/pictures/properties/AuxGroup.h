// The "{ExifAux}" group: what Adobe's programs, and some cameras, say in XMP. Any thread.
#pragma once

#include "pictures/properties/XmpProperties.h"
#include "value/Value.h"

namespace moxtel::properties {

Dictionary auxGroup(const XmpProperties& xmp);

}  // namespace moxtel::properties
