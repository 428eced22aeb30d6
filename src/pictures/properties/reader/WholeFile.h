// The properties of picture files of every kind, those included that must be whole in memory to be
// understood: TIFF and the cameras' own.
#pragma once

#include <optional>

#include "pictures/properties/ByteSource.h"
#include "value/Value.h"

namespace moxtel::properties {

// Nothing for a file that is no picture, or damaged before its size is told. A camera's file is what LibRaw
// takes for one; its size is that of the developed picture.
std::optional<Dictionary> wholeFileProperties(FileBytes file);

}  // namespace moxtel::properties
