// The "{ExifAux}" group: properties of the aux schema and of faces in XMP. Any thread.
#pragma once

#include "pictures/properties/XmpProperties.h"
#include "value/Value.h"

namespace moxtel::properties {

Dictionary auxGroup(const XmpProperties& xmp);

}  // namespace moxtel::properties
