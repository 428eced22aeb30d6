// The properties of picture files of each kind, also of TIFF and RAW files, whose libraries need the whole
// file in memory.
#pragma once

#include <optional>

#include "pictures/properties/ByteSource.h"
#include "value/Value.h"

namespace moxtel::properties {

// Nothing for a file that is not a picture or is damaged before its size is known. LibRaw decides what a RAW
// file is; its size is that of the developed picture.
std::optional<Dictionary> wholeFileProperties(FileBytes file);

}  // namespace moxtel::properties
