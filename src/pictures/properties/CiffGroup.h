// Canon's RAW files before CR2: nested heaps of records (Camera Image File Format 1.0). One thread.
#pragma once

#include "pictures/properties/ByteSource.h"
#include "value/Value.h"

namespace moxtel::properties {

// Whether the file has the signature of the format.
bool isCiff(ByteSource& file);

// The "{CIFF}" group; empty for any other file.
Dictionary ciffGroup(ByteSource& file);

}  // namespace moxtel::properties
