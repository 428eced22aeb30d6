// A plain binary property list as a value. Any thread.
#pragma once

#include "pictures/properties/ByteSource.h"
#include "value/Value.h"

namespace moxtel::properties {

// Immutable collections; nil for what is none, is nested deeper than 16, or unfolds into more than 4096
// objects.
Value propertyListIn(FileBytes bytes);

}  // namespace moxtel::properties
